#include "sync/comparison.h"

#include <algorithm>
#include <iterator>
#include <utility>

namespace KORA::DistributedKv::Client::Sync {

namespace {

constexpr size_t kSlice = 512;
constexpr size_t kGroupBytes = size_t{8}
                               << 20;  // of values that are merged together; the last one may exceed it

// Of the record's value, wherever it lies.
size_t ValueSizeOf(const HubEvent& event) {
  const auto record = ParseRecord(*event.value);
  if (!record) return 0;
  return record->inParts ? record->size : record->content.value.size();
}

}  // namespace

void Comparison::Start(Finished finished) {
  finished_ = std::move(finished);
  // A push that is under way may reach the hub after it was read, and leave the log before the replica is
  // looked through: so what is logged now counts as pending to the end.
  if (pending_.Refresh() != Status::SUCCESS) return End(HubResult::kStoreFailed);
  const KeyRange markers = RangeOfPrefix(context_.keys.Markers());
  RangeWhole(context_.hub, {markers.begin, markers.end},
             lifetime_.Guard([this, acknowledged = context_.state.acknowledged](RangeAnswer answer) {
               TakeMarkers(std::move(answer), acknowledged);
             }));
}

void Comparison::TakeMarkers(RangeAnswer answer, Version acknowledged) {
  if (answer.result != HubResult::kDone) return End(answer.result);
  const std::optional<Version> now = context_.replica.NextVersion();
  if (!now) return End(HubResult::kStoreFailed);
  begun_ = *now;
  revision_ = answer.revision;
  markers_ = ToMarkers(context_.keys, std::move(answer.entries));
  const Version number = NumberOf(markers_, context_.options.device);
  const bool same = number >= acknowledged && IsSameHistory(context_.state, markers_);
  // Others are to see that this device knows of the loss.
  if (!same || context_.state.incarnation == 0) context_.state.incarnation = *now;
  const auto own = markers_.find(context_.options.device);
  if (same && own != markers_.end()) {
    if (const auto marker = ParseMarker(own->second.value)) context_.state.incarnation = marker->incarnation;
  }
  pushBack_ = !same && context_.state.inStep > AgoOf(*now, context_.options.tombstoneLife);
  sameHistory_ = same;
  AskPage();
}

void Comparison::AskPage() {
  const std::string& records = context_.keys.Records();
  // The next key after the last one of the page before.
  const std::string begin = page_.empty() ? records : context_.keys.Record(page_.back()) + '\0';
  context_.hub.Range({begin, RangeOfPrefix(records).end, revision_, limit_},
                     lifetime_.Guard([this](RangeAnswer answer) { TakePage(std::move(answer)); }));
}

// To begin anew would never come to an end where the way to the hub is slow.
void Comparison::AskSmallerPage() {
  limit_ = std::max<size_t>(1, limit_ / 4);
  context_.timers.After(context_.options.firstBackoff, lifetime_.Guard([this] { AskPage(); }));
}

void Comparison::TakePage(RangeAnswer answer) {
  if (answer.result == HubResult::kUnavailable && ++attempts_ < kMaxAttempts) return AskSmallerPage();
  if (answer.result != HubResult::kDone) return End(answer.result);
  attempts_ = 0;
  limit_ = std::min(kMaxPage, limit_ + limit_ / 8 + 1);
  more_ = answer.more && !answer.entries.empty();
  page_.clear();
  records_.clear();
  for (HubEntry& entry : answer.entries) {
    page_.push_back(*After(context_.keys.Records(), entry.key));
    records_.push_back({std::move(entry.key), std::move(entry.value), entry.modified});
  }
  MergeRecords();
}

// The page's records, as many of them as one group takes. The replica's keys follow.
void Comparison::MergeRecords() {
  auto end = records_.begin();
  for (size_t bytes = 0; end != records_.end() && bytes < kGroupBytes; ++end) bytes += ValueSizeOf(*end);
  std::vector<HubEvent> records(std::make_move_iterator(records_.begin()), std::make_move_iterator(end));
  records_.erase(records_.begin(), end);
  Merge(std::move(records), {}, [this] { records_.empty() ? MergeSlice() : MergeRecords(); });
}

// The replica's keys up to the end of the page, or as many of them as one group takes.
void Comparison::MergeSlice() {
  std::vector<Held> held;
  Status status = context_.replica.Scan(compared_, more_ ? page_.back() : std::string(), kSlice, held);
  // After the scan, so that what was written in between counts as pending.
  if (status == Status::SUCCESS) status = pending_.Refresh();
  if (status != Status::SUCCESS) return End(HubResult::kStoreFailed);
  Group group;
  AddAbsent(held, group);
  const bool pageIsDone = held.size() < kSlice;
  compared_ = pageIsDone && more_ ? page_.back() : (held.empty() ? compared_ : held.back().key);
  Merge({}, std::move(group), [this, pageIsDone] {
    if (!pageIsDone) return MergeSlice();
    if (more_) return AskPage();
    Complete();
  });
}

// What follows waits for the next turn: a large replica would nest too deeply, and keep others waiting.
void Comparison::Merge(std::vector<HubEvent> records, Group group, std::function<void()> then) {
  intake_.Take(std::move(records), std::move(group), context_.state, &markers_,
               lifetime_.Guard([this, then = std::move(then)](HubResult result) {
                 if (result != HubResult::kDone) return End(result);
                 context_.timers.After(0, lifetime_.Guard(then));
               }));
}

void Comparison::AddAbsent(const std::vector<Held>& held, Group& group) const {
  for (const Held& record : held) {
    if (IsOnPage(record.key) || pending_.Has(record.key, record.stamp)) continue;
    if (pushBack_ || WasNeverPushed(record)) {
      group.requeued.push_back(record.key);
    } else {
      group.removals.push_back({record.key, record.stamp});
    }
  }
}

// A device pushes nothing before it was in step.
bool Comparison::WasNeverPushed(const Held& record) const {
  return context_.state.inStep == 0 && record.stamp.device == context_.options.device;
}

bool Comparison::IsOnPage(const std::string& key) const {
  return std::binary_search(page_.begin(), page_.end(), key);
}

void Comparison::Complete() {
  SyncState next = context_.state;
  SetMarkers(next, markers_);
  next.position = revision_;
  // Not before: a comparison that is broken off must not forget what the hub has lost.
  if (!sameHistory_) context_.state.acknowledged = NumberOf(markers_, context_.options.device);
  // What was lacking on the hub then waits to be pushed now.
  next.inStep = begun_;
  next.admission = Describe(context_.options.rules);
  Group group;
  for (const auto& [device, entry] : markers_) {
    if (const auto marker = ParseMarker(entry.value)) group.newest = std::max(group.newest, marker->number);
  }
  intake_.Take({}, std::move(group), std::move(next), nullptr,
               lifetime_.Guard([this](HubResult result) { End(result); }));
}

// Whoever is told may delete the comparison.
void Comparison::End(HubResult result) {
  const Finished finished = std::move(finished_);
  finished(result);
}

}  // namespace KORA::DistributedKv::Client::Sync
