#include "sync/intake.h"

#include <algorithm>
#include <utility>

namespace KORA::DistributedKv::Client::Sync {

namespace {

constexpr size_t kIntakePage = 1024;
constexpr Moment kRoomPoll = 10;

// Whether the value has to be fetched in order to judge the record.
bool IsValueNeeded(const HubRecord& remote, const Content& local) {
  if (local.stamp != remote.content.stamp) return local.stamp < remote.content.stamp;
  return local.value.size() != remote.size || Digest(local.value) != remote.digest;
}

}  // namespace

Status PendingKeys::Refresh() {
  for (std::vector<LogEntry> entries;;) {
    entries.clear();
    const Status status = replica_->Log(read_, kIntakePage, entries);
    if (status != Status::SUCCESS || entries.empty()) return status;
    for (LogEntry& entry : entries) logged_[entry.key] = entry.stamp;
    read_ = entries.back().position;
  }
}

// 0: the log is empty.
Status PendingKeys::FindBegin(LogPosition& begin) const {
  std::vector<LogEntry> first;
  const Status status = replica_->Log(0, 1, first);
  begin = first.empty() ? 0 : first.front().position;
  return status;
}

Status PendingKeys::Follow() {
  LogPosition begin = 0;
  if (const Status status = FindBegin(begin); status != Status::SUCCESS) return status;
  if (begin != begin_) *this = PendingKeys(*replica_);
  begin_ = begin;
  return Refresh();
}

void PendingKeys::Trim() {
  if (logged_.empty()) return;
  LogPosition begin = 0;
  if (FindBegin(begin) == Status::SUCCESS && begin == 0) *this = PendingKeys(*replica_);
}

void Intake::Take(std::vector<HubEvent> events, Group group, SyncState next, const Markers* markers,
                  Finished finished) {
  lifetime_.Renew();
  pending_.Trim();
  delivery_ = {std::move(group), std::move(next), markers, std::move(finished), {}, {}, 0, 0};
  // Markers first: they decide on whose records are taken.
  for (const HubEvent& event : events) {
    if (const auto device = After(context_.keys.Markers(), event.key)) AddMarker(*device, event);
  }
  const bool added = std::all_of(events.begin(), events.end(), [this](const HubEvent& event) {
    return AddEvent(event) == Status::SUCCESS;
  });
  if (!added) return End(HubResult::kStoreFailed);
  FetchNext();
}

void Intake::AddMarker(const std::string& device, const HubEvent& event) {
  Peer& peer = delivery_.next.peers[device];
  const AdmissionRules& rules = context_.options.rules;
  const std::string marker = event.value.value_or(std::string());
  // What was passed over so far is wanted now.
  if (!Admits(rules, peer.marker) && Admits(rules, marker) && peer.newest > 0) delivery_.next.position = 0;
  peer.marker = marker;
  peer.modified = event.value ? event.revision : 0;
  if (const auto parsed = ParseMarker(marker)) {
    delivery_.group.newest = std::max({delivery_.group.newest, parsed->number, parsed->incarnation});
  }
}

Status Intake::AddEvent(const HubEvent& event) {
  const auto key = After(context_.keys.Records(), event.key);
  if (!key) return Status::SUCCESS;
  return event.value ? AddRecord(*key, event) : AddRemoval(*key);
}

std::string Intake::MarkerOf(const std::string& device) const {
  if (delivery_.markers) {
    const auto found = delivery_.markers->find(device);
    return found == delivery_.markers->end() ? std::string() : found->second.value;
  }
  const auto found = delivery_.next.peers.find(device);
  return found == delivery_.next.peers.end() ? std::string() : found->second.marker;
}

bool Intake::IsAdmitted(const Stamp& stamp) const {
  if (stamp.device == context_.options.device) return true;
  const auto found = delivery_.next.peers.find(stamp.device);
  if (found != delivery_.next.peers.end() && stamp.version <= found->second.removed) return false;
  return Admits(context_.options.rules, MarkerOf(stamp.device));
}

Status Intake::AddRecord(const std::string& key, const HubEvent& event) {
  std::optional<HubRecord> record = ParseRecord(*event.value);
  // A record of a later format is for those who know it.
  if (!record) return Status::SUCCESS;
  const Stamp stamp = record->content.stamp;
  const bool admitted = IsAdmitted(stamp);
  Version& newest = delivery_.next.peers[stamp.device].newest;
  newest = std::max(newest, stamp.version);
  delivery_.group.newest = std::max({delivery_.group.newest, stamp.version, record->pushed});
  // A comparison ends with all this void.
  if (!delivery_.markers) seen_(key, stamp);
  if (!record->inParts) {
    delivery_.group.records.push_back({key, std::move(record->content), admitted});
    return Status::SUCCESS;
  }
  Content local;
  const Status status = context_.replica.Read(key, local);
  if (status != Status::SUCCESS && status != Status::KEY_NOT_FOUND) return status;
  if (status == Status::SUCCESS && !IsValueNeeded(*record, local)) {
    // The same write, or an older one: then it matters only that the hub's is older.
    if (local.stamp == stamp) record->content = std::move(local);
    delivery_.group.records.push_back({key, std::move(record->content), false});
  } else if (admitted) {
    delivery_.inParts.emplace(key, std::move(*record));
  }
  return Status::SUCCESS;
}

// The hub deletes a record only when its tombstone has served its time.
Status Intake::AddRemoval(const std::string& key) {
  seen_(key, {});
  Content local;
  const Status status = context_.replica.Read(key, local);
  if (status == Status::KEY_NOT_FOUND || (status == Status::SUCCESS && !local.deleted))
    return Status::SUCCESS;
  if (status != Status::SUCCESS) return status;
  if (const Status followed = pending_.Follow(); followed != Status::SUCCESS) return followed;
  // A later delete, which the hub has not heard of yet, may still be needed.
  if (!pending_.Has(key, local.stamp)) delivery_.group.removals.push_back({key, local.stamp});
  return Status::SUCCESS;
}

// One part at a time: more would take too long where the way to the hub is slow.
void Intake::FetchNext() {
  if (delivery_.inParts.empty()) return Finish();
  const auto& [key, record] = *delivery_.inParts.begin();
  context_.hub.Get({context_.keys.Part(key, record.content.stamp, delivery_.parts)},
                   lifetime_.Guard([this](const RangeAnswer& answer) { TakePart(answer); }));
}

void Intake::TakePart(const RangeAnswer& answer) {
  if (answer.result == HubResult::kUnavailable && ++delivery_.attempts < kMaxAttempts) {
    return context_.timers.After(context_.options.firstBackoff, lifetime_.Guard([this] { FetchNext(); }));
  }
  if (answer.result != HubResult::kDone) return End(HubResult::kUnavailable);
  delivery_.attempts = 0;
  ++delivery_.parts;
  for (const HubEntry& part : answer.entries) delivery_.value += part.value;
  const bool last = delivery_.parts >= CountParts(delivery_.inParts.begin()->second.size);
  if (last || answer.entries.empty()) AddFetched();
  FetchNext();
}

void Intake::AddFetched() {
  auto node = delivery_.inParts.extract(delivery_.inParts.begin());
  const HubRecord& record = node.mapped();
  Content content = record.content;
  content.value = std::exchange(delivery_.value, {});
  delivery_.parts = 0;
  // Parts go when a newer record has taken the place of theirs: that one is still to come.
  if (content.value.size() != record.size || Digest(content.value) != record.digest) return;
  delivery_.group.records.push_back({node.key(), std::move(content), true});
}

void Intake::Finish() {
  // The thread is not this store's alone: it must not wait.
  if (!context_.replica.HasRoom())
    return context_.timers.After(kRoomPoll, lifetime_.Guard([this] { Finish(); }));
  // A transaction may have been answered while parts were fetched.
  delivery_.next.acknowledged = context_.state.acknowledged;
  delivery_.group.state = Encode(delivery_.next);
  const bool merged = context_.replica.Merge(delivery_.group) == Status::SUCCESS;
  if (merged) context_.state = delivery_.next;
  End(merged ? HubResult::kDone : HubResult::kStoreFailed);
}

// Whoever is told may begin the next delivery at once.
void Intake::End(HubResult result) {
  const Finished finished = std::move(delivery_.finished);
  finished(result);
}

}  // namespace KORA::DistributedKv::Client::Sync
