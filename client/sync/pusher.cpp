#include "sync/pusher.h"

#include <algorithm>
#include <utility>

namespace KORA::DistributedKv::Client::Sync {

namespace {

constexpr size_t kPushPage = 256;
// What is known beyond this saves nothing but a write of what the hub has already.
constexpr size_t kMaxKnown = 10'000;
// The marker takes one condition and one operation.
constexpr size_t kRoom = kMaxOperations - 1;
constexpr size_t kRecordOverhead = 128;  // bytes; a hub's framing, the key in condition and operation apart

}  // namespace

void Pusher::Reset() {
  lifetime_.Renew();
  pause_.Renew();
  busy_ = false;
  pausing_ = false;
  awaited_ = 0;
  known_.clear();
}

void Pusher::OnSeen(const std::string& key, const Stamp& stamp) {
  if (context_.replica.LogEnd() <= cut_) return;
  const auto known = known_.find(key);
  if (known != known_.end()) {
    known->second.stamp = stamp;
  } else if (known_.size() < kMaxKnown) {
    known_[key].stamp = stamp;
  }
}

bool Pusher::IsOnHub(const std::string& key, const Stamp& stamp) const {
  const auto found = known_.find(key);
  return found != known_.end() && found->second.stamp == stamp;
}

Revision Pusher::JudgedUpTo(const std::string& key) const {
  const auto found = known_.find(key);
  return std::max(context_.state.position, found == known_.end() ? 0 : found->second.revision);
}

void Pusher::Push() {
  if (busy_ || writer_.IsBusy() || context_.state.position < awaited_) return;
  batch_ = {};
  parts_.clear();
  if (Fill(batch_) != Status::SUCCESS) return Retry(HubResult::kStoreFailed);
  if (batch_.records.empty()) {
    const bool moved = batch_.upTo > cut_;
    if (CutLog() != Status::SUCCESS) return Retry(HubResult::kStoreFailed);
    if (moved && context_.replica.LogEnd() > cut_) return GoOn();
    if (writer_.IsAnnounced()) return;
  }
  busy_ = true;
  SendPart();
}

// On the next turn of the thread, which is not this store's alone.
void Pusher::GoOn() {
  busy_ = true;
  context_.timers.After(0, lifetime_.Guard([this] { End(HubResult::kDone); }));
}

Status Pusher::Fill(Batch& batch) const {
  std::vector<LogEntry> entries;
  Mark whole;
  batch.upTo = cut_;
  const LogPosition end = context_.replica.LogEnd();
  bool fits = true;
  for (size_t left = context_.options.scanAtOnce; fits && left > 0; left -= entries.size()) {
    entries.clear();
    Status status = context_.replica.Log(batch.upTo, std::min(left, kPushPage), entries);
    if (entries.empty()) batch.upTo = std::max(batch.upTo, end);
    if (entries.empty()) return status;
    for (auto entry = entries.begin(); status == Status::SUCCESS && fits && entry != entries.end(); ++entry) {
      status = Add(*entry, batch, fits);
      if (fits) batch.upTo = entry->position;
      if (fits && entry->endsCommit) whole = {batch.records.size(), batch.large.size(), entry->position};
    }
    if (status != Status::SUCCESS) return status;
  }
  // The first commit that has anything to push is too large: it goes in pieces.
  const bool tooLarge = fits ? whole.upTo == 0 : whole.records == 0;
  if (tooLarge) return Status::SUCCESS;
  batch.records.resize(whole.records);
  batch.large.resize(whole.large);
  batch.upTo = whole.upTo;
  return Status::SUCCESS;
}

Status Pusher::Add(const LogEntry& entry, Batch& batch, bool& fits) const {
  const bool twice = std::any_of(batch.records.begin(), batch.records.end(),
                                 [&entry](const Outgoing& outgoing) { return outgoing.key == entry.key; });
  if (twice || IsOnHub(entry.key, entry.stamp)) return Status::SUCCESS;
  const Revision judged = JudgedUpTo(entry.key);
  HubRecord record;
  const Status status = context_.replica.ReadIf(entry.key, entry.stamp, record.content);
  if (status == Status::KEY_NOT_FOUND) return Status::SUCCESS;
  if (status != Status::SUCCESS || record.content.stamp != entry.stamp) return status;
  const std::string& value = record.content.value;
  const size_t parts = value.size() > kInlineSize ? CountParts(value.size()) : 0;
  const size_t bytes =
      kRecordOverhead + 2 * (context_.keys.Record(entry.key).size()) + (parts ? 0 : value.size());
  fits = batch.operations + 1 + parts <= kRoom && batch.bytes + bytes <= kMaxTransactionBytes;
  if (!fits) return Status::SUCCESS;
  if (parts > 0) {
    record.inParts = true;
    record.size = static_cast<uint32_t>(value.size());
    record.digest = Digest(value);
    record.content.value.clear();
    batch.large.push_back({entry.key, entry.stamp, parts});
  }
  batch.operations += 1 + parts;
  batch.bytes += bytes;
  batch.records.push_back({entry.key, std::move(record), judged});
  return Status::SUCCESS;
}

// Parts lie on the hub before the record that needs them, and are kept there by a condition on each.
void Pusher::SendPart() {
  while (!batch_.large.empty() && batch_.large.back().sent == batch_.large.back().parts)
    batch_.large.pop_back();
  if (batch_.large.empty()) return Send();
  const Large& large = batch_.large.back();
  Content content;
  const Status status = context_.replica.ReadIf(large.key, large.stamp, content);
  // Changed meanwhile: the log leads to the newer one.
  if (status != Status::SUCCESS || content.stamp != large.stamp) return Retry(HubResult::kUnavailable);
  const std::string key = context_.keys.Part(large.key, large.stamp, large.sent);
  Transaction transaction;
  transaction.operations.push_back({key, content.value.substr(large.sent * kPartSize, kPartSize)});
  context_.hub.Commit(std::move(transaction), lifetime_.Guard([this, key](const TransactionAnswer& answer) {
    TakePart(key, answer);
  }));
}

void Pusher::TakePart(const std::string& key, const TransactionAnswer& answer) {
  // One that was applied unnoticed is written again, to the same effect.
  if (answer.result != HubResult::kDone) return Retry(answer.result);
  parts_.push_back({key, Condition::Kind::kEqual, answer.revision});
  ++batch_.large.back().sent;
  SendPart();
}

void Pusher::Send() {
  // The upkeep may have come first while parts were sent.
  if (writer_.IsBusy()) return Retry(HubResult::kUnavailable);
  Transaction transaction;
  const std::optional<Version> pushed = context_.replica.NextVersion();
  if (!pushed) return Retry(HubResult::kStoreFailed);
  for (auto& [key, record, judged] : batch_.records) {
    record.pushed = *pushed;
    transaction.conditions.push_back({context_.keys.Record(key), Condition::Kind::kAtMost, judged});
    transaction.operations.push_back({context_.keys.Record(key), Encode(record)});
  }
  transaction.conditions.insert(transaction.conditions.end(), parts_.begin(), parts_.end());
  writer_.Send(std::move(transaction),
               lifetime_.Guard([this](const TransactionAnswer& answer) { TakeAnswer(answer); }));
}

void Pusher::TakeAnswer(const TransactionAnswer& answer) {
  if (answer.result == HubResult::kDone) {
    for (const Outgoing& outgoing : batch_.records) {
      known_[outgoing.key] = {outgoing.record.content.stamp, answer.revision};
    }
    return CutLog() == Status::SUCCESS ? End(HubResult::kDone) : Retry(HubResult::kStoreFailed);
  }
  if (answer.result != HubResult::kRefused) return Retry(answer.result);
  for (size_t i = 0; i < batch_.records.size() && i < answer.modified.size(); ++i) {
    if (answer.modified[i] > batch_.records[i].judged) awaited_ = std::max(awaited_, answer.modified[i]);
  }
  if (awaited_ > context_.state.position) return End(HubResult::kRefused);
  Retry(HubResult::kRefused);
}

Status Pusher::CutLog() {
  if (batch_.upTo == cut_) return Status::SUCCESS;
  const Status status = context_.replica.CutLog(batch_.upTo, Encode(context_.state));
  if (status != Status::SUCCESS) return status;
  cut_ = batch_.upTo;
  if (context_.replica.LogEnd() > cut_) return status;
  for (auto known = known_.begin(); known != known_.end();) {
    known = known->second.revision <= context_.state.position ? known_.erase(known) : std::next(known);
  }
  return status;
}

void Pusher::Retry(HubResult reason) {
  const StoreSyncOptions& options = context_.options;
  // What an operator has to mend is not mended in a moment.
  const bool lasting = reason == HubResult::kFull || reason == HubResult::kDenied;
  backoff_ =
      lasting ? options.fenceEvery : std::clamp(2 * backoff_, options.firstBackoff, options.lastBackoff);
  busy_ = true;
  pausing_ = true;
  context_.timers.After(backoff_, pause_.Guard([this] {
    Hurry();
    finished_(HubResult::kRefused);
  }));
  if (lasting || reason == HubResult::kStoreFailed) finished_(reason);
}

void Pusher::Hurry() {
  if (!std::exchange(pausing_, false)) return;
  pause_.Renew();
  busy_ = false;
}

void Pusher::End(HubResult result) {
  busy_ = false;
  if (result == HubResult::kDone) backoff_ = 0;
  finished_(result);
}

}  // namespace KORA::DistributedKv::Client::Sync
