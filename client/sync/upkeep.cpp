#include "sync/upkeep.h"

#include <algorithm>
#include <map>
#include <utility>

namespace KORA::DistributedKv::Client::Sync {

namespace {

constexpr size_t kPage = 60;

}  // namespace

void Upkeep::Run() {
  if (running_) return;
  running_ = true;
  lifetime_.Renew();
  const std::optional<Version> now = context_.replica.NextVersion();
  if (!now) return End(false);
  now_ = *now;
  lastTombstone_.clear();
  nextPart_ = context_.keys.Parts();
  AskParts();
}

void Upkeep::Stop() {
  lifetime_.Renew();
  running_ = false;
}

void Upkeep::End(bool whole) {
  running_ = false;
  finished_(whole);
}

// How old the replica's tombstones are says little: one may have come to the hub long after it was written.
// So the hub is asked about those that can have ended.
void Upkeep::AskTombstones() {
  const Version before = AgoOf(now_, context_.options.tombstoneLife + context_.options.clockError);
  std::vector<Held> held;
  const Status status = context_.replica.Tombstones(before, lastTombstone_, kPage, held);
  if (status != Status::SUCCESS || held.empty()) return End(status == Status::SUCCESS);
  lastTombstone_ = held.back().key;
  std::vector<std::string> keys;
  keys.reserve(held.size());
  for (const Held& tombstone : held) keys.push_back(context_.keys.Record(tombstone.key));
  context_.hub.Get(keys, lifetime_.Guard([this](const RangeAnswer& answer) { EndTombstones(answer); }));
}

void Upkeep::EndTombstones(const RangeAnswer& answer) {
  if (answer.result != HubResult::kDone) return End(false);
  if (writer_.IsBusy()) {
    return context_.timers.After(context_.options.firstBackoff,
                                 lifetime_.Guard([this, answer] { EndTombstones(answer); }));
  }
  const Version before = AgoOf(now_, context_.options.tombstoneLife + context_.options.clockError);
  Transaction transaction;
  for (const HubEntry& entry : answer.entries) {
    const auto record = ParseRecord(entry.value);
    if (!record || !record->content.deleted || record->pushed >= before) continue;
    transaction.conditions.push_back({entry.key, Condition::Kind::kEqual, entry.modified});
    transaction.operations.push_back({entry.key, std::nullopt});
  }
  if (transaction.operations.empty()) return NextTombstones();
  writer_.Send(std::move(transaction), lifetime_.Guard([this](const TransactionAnswer& done) {
    if (done.result == HubResult::kDone) return NextTombstones();
    End(false);
  }));
}

void Upkeep::NextTombstones() {
  context_.timers.After(0, lifetime_.Guard([this] { AskTombstones(); }));
}

void Upkeep::AskParts() {
  RangeRequest request{nextPart_, RangeOfPrefix(context_.keys.Parts()).end};
  request.limit = kPage;
  request.keysOnly = true;
  context_.hub.Range(request, lifetime_.Guard([this](RangeAnswer answer) { JudgeParts(std::move(answer)); }));
}

void Upkeep::JudgeParts(RangeAnswer answer) {
  if (answer.result != HubResult::kDone) return End(false);
  if (answer.entries.empty()) return AskTombstones();
  nextPart_ = answer.entries.back().key + '\0';
  std::vector<HubEntry> named;
  std::vector<std::string> records;
  for (HubEntry& entry : answer.entries) {
    const auto name = ParsePartKey(context_.keys.Parts(), entry.key);
    if (!name) continue;
    records.push_back(context_.keys.Record(name->key));
    named.push_back(std::move(entry));
  }
  std::sort(records.begin(), records.end());
  records.erase(std::unique(records.begin(), records.end()), records.end());
  if (records.empty()) return AskParts();
  context_.hub.Get(records, lifetime_.Guard([this, named = std::move(named)](const RangeAnswer& found) {
    DropParts(named, found);
  }));
}

// Parts that are newer than their record may be those of a device that is about to write it: that one gets
// time. A record of a later format may need any.
bool Upkeep::IsNeeded(const Stamp& part, const HubEntry* entry) const {
  const auto record = entry ? ParseRecord(entry->value) : std::nullopt;
  if (entry && !record) return true;
  if (record && record->content.stamp == part) return record->inParts;
  const bool replaced = record && part < record->content.stamp;
  return !replaced && part.version >= AgoOf(now_, context_.options.clockError);
}

void Upkeep::DropParts(const std::vector<HubEntry>& parts, const RangeAnswer& records) {
  if (records.result != HubResult::kDone) return End(false);
  Transaction transaction;
  std::map<std::string, Revision> judged;  // the records, by the hub's key
  for (const HubEntry& part : parts) {
    const auto name = ParsePartKey(context_.keys.Parts(), part.key);
    const std::string recordKey = context_.keys.Record(name->key);
    const auto record = std::find_if(records.entries.begin(), records.entries.end(),
                                     [&recordKey](const HubEntry& entry) { return entry.key == recordKey; });
    const HubEntry* const found = record == records.entries.end() ? nullptr : &*record;
    if (IsNeeded(name->stamp, found)) continue;
    judged[recordKey] = found ? found->modified : 0;
    transaction.conditions.push_back({part.key, Condition::Kind::kEqual, part.modified});
    transaction.operations.push_back({part.key, std::nullopt});
  }
  // The record that needs them may be written right now.
  for (const auto& [key, modified] : judged) {
    transaction.conditions.push_back({key, Condition::Kind::kEqual, modified});
  }
  if (transaction.operations.empty()) return AskParts();
  // Nothing is lost if this fails: the next round finds the parts again.
  context_.hub.Commit(std::move(transaction), lifetime_.Guard([this](const TransactionAnswer& answer) {
    if (answer.result == HubResult::kDone) return AskParts();
    End(false);
  }));
}

}  // namespace KORA::DistributedKv::Client::Sync
