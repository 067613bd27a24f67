#include "store/store_replica.h"

#include <algorithm>
#include <utility>

#include "common/big_endian.h"
#include "common/guard.h"
#include "store/change_log.h"
#include "store/record.h"
#include "store/record_reader.h"

namespace KORA::DistributedKv::Client {

namespace {

// A record or a tombstone.
struct Found {
  Version version = 0;
  uint32_t device = kThisDevice;
  bool deleted = false;
  std::string value;
};

// SUCCESS; KEY_NOT_FOUND; DB_ERROR for what is no record, too. With `only`, the value of another version is
// left out.
Status FindIn(const View& view, const std::string& storeId, const std::string& engineKey, Found& found,
              std::optional<Version> only = std::nullopt) {
  bool whole = true;
  const Status status = view.Get(engineKey, [&](Bytes stored) {
    const std::optional<Record> record = ParseRecord(stored);
    whole = record.has_value();
    if (record) found = {record->version, record->device, false, ""};
    if (record && record->version == only.value_or(record->version)) found.value = record->value;
  });
  return whole ? status : DamagedRecord(storeId);
}

// `view` must not change meanwhile.
Status FindHeld(const View& view, const std::string& storeId, const std::string& key, Found& found,
                std::optional<Version> only = std::nullopt) {
  Status status = FindIn(view, storeId, RecordKey(key), found, only);
  if (status != Status::KEY_NOT_FOUND) return status;
  status = FindIn(view, storeId, TombstoneKey(key), found);
  found.deleted = status == Status::SUCCESS;
  return status;
}

// DB_ERROR: no device of the store wrote this.
template <typename Written>
Status FindStamp(const Written& written, const DeviceNumbers& devices, const Store& store,
                 Sync::Stamp& stamp) {
  const std::string* const device = devices.Find(written.device);
  if (device == nullptr) return DamagedRecord(store.Id());
  stamp = {written.version, *device};
  return Status::SUCCESS;
}

// The entries of a space of records or tombstones whose callers' keys are above `after`.
std::unique_ptr<Cursor> EntriesAbove(const View& view, Bytes space, const std::string& after) {
  std::unique_ptr<Cursor> cursor = view.Entries(space);
  if (!after.empty()) cursor->Seek(std::string(space).append(after).append(1, '\0'));
  return cursor;
}

}  // namespace

// The commit of a group, as it is written.
class StoreReplica::Merging {
 public:
  Merging(const StoreWriter::Foreign& commit, const Store& store, DeviceNumbers& devices)
      : commit_(commit), store_(store), devices_(devices) {}

  Status Add(const Sync::Group& group) {
    Status status = Status::SUCCESS;
    for (const Sync::Candidate& candidate : group.records) {
      if (status == Status::SUCCESS) status = AddCandidate(candidate);
    }
    for (const Sync::Removal& removal : group.removals) {
      if (status == Status::SUCCESS) status = Remove(removal);
    }
    for (const std::string& key : group.requeued) {
      if (status == Status::SUCCESS) status = LogAgain(key);
    }
    commit_.rest.Put(kStateKey, group.state, {});
    return status;
  }

 private:
  // Whether there is anything; `use` is shown it with its stamp.
  template <typename Use>
  Status WithHeld(const std::string& key, Use use) {
    Found found;
    Sync::Stamp stamp;
    Status status = FindHeld(store_.Committed(), store_.Id(), key, found);
    if (status == Status::KEY_NOT_FOUND) return Status::SUCCESS;
    if (status == Status::SUCCESS) status = FindStamp(found, devices_, store_, stamp);
    if (status == Status::SUCCESS) use(found, stamp);
    return status;
  }

  Status AddCandidate(const Sync::Candidate& candidate) {
    Sync::Verdict verdict = Sync::Verdict::kTake;
    std::optional<Found> held;
    const Status status = WithHeld(candidate.key, [&](Found& found, const Sync::Stamp& stamp) {
      verdict = Sync::Judge({stamp, found.deleted, found.value}, candidate.content);
      held = std::move(found);
    });
    if (status != Status::SUCCESS) return status;
    if (verdict == Sync::Verdict::kTake && candidate.admitted) Take(candidate, held);
    if (verdict == Sync::Verdict::kKeep) Log(candidate.key, *held);
    return status;
  }

  void Take(const Sync::Candidate& candidate, const std::optional<Found>& held) {
    const Sync::Content& content = candidate.content;
    const uint32_t device = devices_.NumberOf(content.stamp.device, commit_.rest);
    const RecordHead head = EncodeRecordHead(content.stamp.version, device);
    if (held && held->deleted != content.deleted) Drop(candidate.key, *held);
    if (content.deleted) {
      commit_.rest.Put(TombstoneKey(candidate.key), {head.data(), head.size()}, {});
    } else {
      commit_.records.Put(RecordKey(candidate.key), {head.data(), head.size()}, content.value);
    }
  }

  void Drop(const std::string& key, const Found& held) {
    if (held.deleted) {
      commit_.rest.Delete(TombstoneKey(key));
    } else {
      commit_.records.Delete(RecordKey(key));
    }
  }

  Status Remove(const Sync::Removal& removal) {
    return WithHeld(removal.key, [&](const Found& found, const Sync::Stamp& stamp) {
      if (stamp == removal.stamp) Drop(removal.key, found);
    });
  }

  Status LogAgain(const std::string& key) {
    return WithHeld(key, [&](const Found& found, const Sync::Stamp&) { Log(key, found); });
  }

  void Log(const std::string& key, const Found& held) {
    commit_.log.Add({held.version, held.device, true, key});
  }

  const StoreWriter::Foreign& commit_;
  const Store& store_;
  DeviceNumbers& devices_;
};

Status StoreReplica::Open(std::shared_ptr<Store> store, std::unique_ptr<StoreReplica>& replica) {
  std::unique_ptr<StoreReplica> opened(new StoreReplica(std::move(store)));
  const Status status = opened->Call([&opened](Store& joining) {
    const Status joined = joining.Join();
    return joined == Status::SUCCESS ? opened->Load(joining) : joined;
  });
  if (status == Status::SUCCESS) replica = std::move(opened);
  return status;
}

Status StoreReplica::Load(const Store& store) {
  const View& view = store.Committed();
  Status status = devices_.Load(view, store.DeviceId());
  if (status == Status::SUCCESS) status = ReadCut(view, cut_);
  if (status != Status::SUCCESS) return status;
  status = view.Get(kStateKey, [this](Bytes stored) { state_ = stored; });
  return status == Status::KEY_NOT_FOUND ? Status::SUCCESS : status;
}

template <typename Use>
Status StoreReplica::Call(Use use) const noexcept {
  return Guard([&] {
    const OperationGate::Pass pass(store_->Gate());
    if (pass) return use(*store_);
    return store_->HasFailed() ? Status::DB_ERROR : Status::STORE_NOT_OPEN;
  });
}

Status StoreReplica::Damaged() const {
  return DamagedRecord(store_->Id());
}

Status StoreReplica::Read(const std::string& key, Sync::Content& content) {
  return ReadVersion(key, std::nullopt, content);
}

Status StoreReplica::ReadIf(const std::string& key, const Sync::Stamp& stamp, Sync::Content& content) {
  return ReadVersion(key, stamp.version, content);
}

Status StoreReplica::ReadVersion(const std::string& key, std::optional<Version> only,
                                 Sync::Content& content) {
  return Call([&](const Store& store) {
    Found found;
    const Status status = FindHeld(*store.Committed().NewSnapshot(), store.Id(), key, found, only);
    if (status != Status::SUCCESS) return status;
    content.deleted = found.deleted;
    content.value = std::move(found.value);
    return FindStamp(found, devices_, store, content.stamp);
  });
}

// Adds what the cursor stands at.
Status StoreReplica::AddHeld(const Cursor& cursor, bool deleted, std::vector<Sync::Held>& held) const {
  const std::optional<Record> record = ParseRecord(cursor.Value());
  if (!record) return Damaged();
  Sync::Held& added = held.emplace_back();
  added.key = KeyOfRecord(cursor.Key());
  added.deleted = deleted;
  return FindStamp(*record, devices_, *store_, added.stamp);
}

Status StoreReplica::Scan(const std::string& after, const std::string& last, size_t limit,
                          std::vector<Sync::Held>& held) {
  return Call([&](const Store& store) {
    const std::unique_ptr<View> view = store.Committed().NewSnapshot();
    const std::unique_ptr<Cursor> records = EntriesAbove(*view, kRecordSpace, after);
    const std::unique_ptr<Cursor> tombstones = EntriesAbove(*view, kTombstoneSpace, after);
    Status status = Status::SUCCESS;
    while (status == Status::SUCCESS && held.size() < limit && (records->Valid() || tombstones->Valid())) {
      const bool deleted = !records->Valid() || (tombstones->Valid() && KeyOfRecord(tombstones->Key()) <
                                                                            KeyOfRecord(records->Key()));
      Cursor& next = deleted ? *tombstones : *records;
      if (!last.empty() && KeyOfRecord(next.Key()) > last) break;
      status = AddHeld(next, deleted, held);
      next.Next();
    }
    if (status == Status::SUCCESS) status = records->Result();
    return status == Status::SUCCESS ? tombstones->Result() : status;
  });
}

Status StoreReplica::Tombstones(Version before, const std::string& after, size_t limit,
                                std::vector<Sync::Held>& held) {
  return Call([&](const Store& store) {
    const std::unique_ptr<Cursor> cursor = EntriesAbove(store.Committed(), kTombstoneSpace, after);
    Status status = Status::SUCCESS;
    for (; status == Status::SUCCESS && held.size() < limit && cursor->Valid(); cursor->Next()) {
      status = AddHeld(*cursor, true, held);
      if (status == Status::SUCCESS && held.back().stamp.version >= before) held.pop_back();
    }
    return status == Status::SUCCESS ? cursor->Result() : status;
  });
}

Status StoreReplica::Log(Sync::LogPosition after, size_t limit, std::vector<Sync::LogEntry>& entries) {
  return Call([&](const Store& store) {
    const std::unique_ptr<Cursor> cursor = store.Committed().Entries(kLogSpace);
    cursor->Seek(LogKey(std::max(after, cut_) + 1));
    for (; entries.size() < limit && cursor->Valid(); cursor->Next()) {
      const std::optional<Sync::LogPosition> position = PositionOf(cursor->Key());
      const std::optional<LoggedChange> change = ParseLoggedChange(cursor->Value());
      if (!position || !change) return Damaged();
      Sync::Stamp stamp;
      const Status status = FindStamp(*change, devices_, store, stamp);
      if (status != Status::SUCCESS) return status;
      entries.push_back({*position, std::string(change->key), std::move(stamp), change->endsCommit});
    }
    return cursor->Result();
  });
}

Status StoreReplica::CutLog(Sync::LogPosition upTo, const std::string& state) {
  return Call([&](Store& store) {
    const Sync::LogPosition cut = std::max(upTo, cut_);
    Status status = Sweep(store, cut, [&](Batch& batch) {
      std::string position;
      AppendBigEndian(cut, position);
      batch.Put(kCutKey, position, {});
      batch.Put(kStateKey, state, {});
    });
    if (status != Status::SUCCESS) return status;
    cut_ = cut;
    state_ = state;
    // The entries are none any more. Those that stay for now go with the next cut.
    while (status == Status::SUCCESS && swept_ < cut_) status = Sweep(store, cut_, [](Batch&) {});
    return Status::SUCCESS;
  });
}

// Writes what `fill` does, and takes some of the entries that are to go away with it.
Status StoreReplica::Sweep(Store& store, Sync::LogPosition upTo, const std::function<void(Batch&)>& fill) {
  constexpr size_t kEntriesAtOnce = 1000;
  Sync::LogPosition swept = swept_;
  const Status status = store.WriteAside([&](Batch& batch) {
    fill(batch);
    const std::unique_ptr<Cursor> cursor = store.Committed().Entries(kLogSpace);
    cursor->Seek(LogKey(swept + 1));
    for (size_t i = 0; i < kEntriesAtOnce && swept < upTo; ++i, cursor->Next()) {
      const std::optional<Sync::LogPosition> position =
          cursor->Valid() ? PositionOf(cursor->Key()) : std::nullopt;
      swept = position ? std::min(*position, upTo) : upTo;
      if (!position || *position > upTo) break;
      batch.Delete(cursor->Key());
    }
    return cursor->Result();
  });
  if (status == Status::SUCCESS) swept_ = swept;
  return status;
}

std::optional<Version> StoreReplica::NextVersion() {
  Version version = 0;
  const Status status = Call([&version](Store& store) { return store.NextVersion(version); });
  return status == Status::SUCCESS ? std::optional(version) : std::nullopt;
}

Sync::LogPosition StoreReplica::LogEnd() {
  return store_->LogEnd();
}

bool StoreReplica::HasRoom() {
  return store_->Observers().HasRoom(Origin::kRemote);
}

Status StoreReplica::Merge(const Sync::Group& group) {
  return Call([&](Store& store) {
    DeviceNumbers devices = devices_;
    const Status status = store.WriteBeneath([&](StoreWriter& writer) {
      writer.Advance(group.newest);
      return writer.Merge(
          [&](const StoreWriter::Foreign& commit) { return Merging(commit, store, devices).Add(group); },
          devices);
    });
    if (status != Status::SUCCESS) return status;
    devices_ = std::move(devices);
    state_ = group.state;
    return status;
  });
}

Status StoreReplica::Forget(const std::string& device, const std::string& state) {
  return Call([&](Store& store) {
    const auto isMeant = [number = devices_.Find(device)](uint32_t writer) { return writer == number; };
    const Status status = store.WriteBeneath([&](StoreWriter& writer) {
      const bool heard = store.Observers().HasListeners(Origin::kLocal);
      return writer.Forget(
          [&](const StoreWriter::Foreign& commit) {
            commit.rest.Put(kStateKey, state, {});
            const Status dropped = DropAll(store.Committed(), kRecordSpace, isMeant, commit.records);
            return dropped == Status::SUCCESS
                       ? DropAll(store.Committed(), kTombstoneSpace, isMeant, commit.rest)
                       : dropped;
          },
          heard ? store.PiecesOf(isMeant) : nullptr);
    });
    if (status == Status::SUCCESS) state_ = state;
    return status;
  });
}

// Deletes what those devices wrote in a space of records or tombstones.
Status StoreReplica::DropAll(const View& view, Bytes space, const DeletedRecords::Filter& isMeant,
                             Batch& batch) const {
  const std::unique_ptr<Cursor> cursor = view.Entries(space);
  for (; cursor->Valid(); cursor->Next()) {
    const std::optional<Record> record = ParseRecord(cursor->Value());
    if (!record) return Damaged();
    if (isMeant(record->device)) batch.Delete(cursor->Key());
  }
  return cursor->Result();
}

}  // namespace KORA::DistributedKv::Client
