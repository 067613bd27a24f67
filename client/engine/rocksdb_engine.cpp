#include <rocksdb/db.h>
#include <rocksdb/env.h>
#include <rocksdb/options.h>
#include <rocksdb/perf_level.h>
#include <rocksdb/utilities/write_batch_with_index.h>
#include <rocksdb/write_batch.h>

#include <algorithm>
#include <array>
#include <optional>
#include <string>
#include <utility>

#include "common/guard.h"
#include "common/log.h"
#include "common/periodic.h"
#include "engine/engine.h"
#include "engine/fenced_file_system.h"
#include "engine/health.h"
#include "engine/rocksdb_backups.h"
#include "engine/rocksdb_options.h"
#include "engine/seal.h"

namespace KORA::DistributedKv::Client {

namespace {

rocksdb::Slice ToSlice(Bytes bytes) {
  return {bytes.data(), bytes.size()};
}
Bytes ToBytes(const rocksdb::Slice& slice) {
  return {slice.data(), slice.size()};
}

// RocksDB counts for each thread what it does, every comparison of keys, and nobody looks.
void CountNothing() {
  thread_local const bool said = [] {
    rocksdb::SetPerfLevel(rocksdb::PerfLevel::kDisable);
    return true;
  }();
  static_cast<void>(said);
}

// An open database and what is known of its state.
struct Database {
  explicit Database(const EngineOptions& options)
      : folder(options.folder),
        health(std::make_shared<Health>(options.folder, options.failed)),
        env(rocksdb::NewCompositeEnv(
            std::make_shared<FencedFileSystem>(NewFiles(options.key, &room), health))) {
    writing.sync = options.syncCommits;
  }

  rocksdb::DB* operator->() const { return opened.get(); }

  Status Answer(const rocksdb::Status& status, const char* action) const {
    if (status.ok()) return Status::SUCCESS;
    if (status.IsNotFound()) return Status::KEY_NOT_FOUND;
    __android_log_print(KORA_LOG_ERROR, kLogTag, "%s failed: %s", action, status.ToString().c_str());
    if (!readOnly) health->Note(status);
    return Status::DB_ERROR;
  }

  // Writes so many bytes by `write`, once the engine has come round from the failure of an earlier one: the
  // disk was full, it may be.
  template <typename Write>
  Status Change(uint64_t bytes, Write write, const char* action) {
    if (readOnly) return Status::READ_ONLY;
    CountNothing();
    rocksdb::Status ready = room.Reserve(bytes);
    if (ready.ok()) ready = health->Resume(*opened);
    return Answer(ready.ok() ? write(*opened) : ready, action);
  }

  Status Write(rocksdb::WriteBatch* batch) {
    return Change(
        batch->GetDataSize(), [&](rocksdb::DB& database) { return database.Write(writing, batch); },
        "writing");
  }

  const std::filesystem::path folder;
  LogRoom room;
  const std::shared_ptr<Health> health;
  const std::unique_ptr<rocksdb::Env> env;  // outlives the database
  std::unique_ptr<rocksdb::DB> opened;
  rocksdb::WriteOptions writing;
  bool readOnly = false;
};

// The first key after all that begin with `prefix`; empty: there is none.
std::string EndOfPrefix(Bytes prefix) {
  std::string end(prefix);
  while (!end.empty() && end.back() == '\xff') end.pop_back();
  if (!end.empty()) ++end.back();
  return end;
}

using WriteIndex = rocksdb::WriteBatchWithIndex;

// One state of the database, seen through `writes` if there are any. No snapshot: the newest state.
struct RocksState {
  Database& database;
  std::shared_ptr<const rocksdb::Snapshot> snapshot;
  std::shared_ptr<WriteIndex> writes;

  rocksdb::ReadOptions Options() const {
    rocksdb::ReadOptions options;
    options.snapshot = snapshot.get();
    return options;
  }
};

class RocksCursor : public Cursor {
 public:
  RocksCursor(RocksState state, Bytes prefix)
      : state_(std::move(state)), prefix_(prefix), end_(EndOfPrefix(prefix)), upperBound_(end_) {
    CountNothing();
    rocksdb::ReadOptions options = state_.Options();
    if (!end_.empty()) options.iterate_upper_bound = &upperBound_;
    entries_.reset(state_.database->NewIterator(options));
    if (state_.writes) entries_.reset(state_.writes->NewIteratorWithBase(entries_.release()));
    entries_->Seek(prefix_);
  }

  // The bound keeps the database from reading on; a batch knows none.
  bool Valid() const override { return entries_->Valid() && entries_->key().starts_with(prefix_); }
  void Next() override { entries_->Next(); }
  void Prev() override { entries_->Prev(); }
  void Seek(Bytes key) override { entries_->Seek(ToSlice(std::max(key, Bytes(prefix_)))); }
  void SeekToLast() override {
    if (end_.empty()) {
      entries_->SeekToLast();
      return;
    }
    entries_->SeekForPrev(end_);
    if (entries_->Valid() && entries_->key() == end_) entries_->Prev();
  }
  Bytes Key() const override { return ToBytes(entries_->key()); }
  Bytes Value() const override { return ToBytes(entries_->value()); }
  Status Result() const override { return state_.database.Answer(entries_->status(), "reading entries"); }

 private:
  const RocksState state_;
  const std::string prefix_;
  const std::string end_;
  const rocksdb::Slice upperBound_;
  std::unique_ptr<rocksdb::Iterator> entries_;
};

Status Read(const RocksState& state, Bytes key, const View::Visitor& visit) {
  CountNothing();
  rocksdb::PinnableSlice value;
  const rocksdb::Status status =
      state.writes
          ? state.writes->GetFromBatchAndDB(state.database.opened.get(), state.Options(), ToSlice(key),
                                            &value)
          : state.database->Get(state.Options(), state.database->DefaultColumnFamily(), ToSlice(key), &value);
  if (status.ok()) visit(ToBytes(value));
  return state.database.Answer(status, "reading");
}

class RocksSnapshot : public View {
 public:
  explicit RocksSnapshot(RocksState state) : state_(std::move(state)) {}

  Status Get(Bytes key, const Visitor& visit) const override { return Read(state_, key, visit); }
  std::unique_ptr<Cursor> Entries(Bytes prefix) const override {
    return std::make_unique<RocksCursor>(state_, prefix);
  }
  std::unique_ptr<View> NewSnapshot() const override { return std::make_unique<RocksSnapshot>(state_); }

 private:
  const RocksState state_;
};

std::unique_ptr<View> TakeSnapshot(Database& database, std::shared_ptr<WriteIndex> writes) {
  std::shared_ptr<const rocksdb::Snapshot> snapshot(
      database->GetSnapshot(),
      [&database](const rocksdb::Snapshot* taken) { database->ReleaseSnapshot(taken); });
  return std::make_unique<RocksSnapshot>(RocksState{database, std::move(snapshot), std::move(writes)});
}

class RocksBatch : public Batch {
 public:
  explicit RocksBatch(Database& database) : database_(database) {}

  void Put(Bytes key, Bytes head, Bytes body) override {
    const rocksdb::Slice key_part = ToSlice(key);
    const std::array<rocksdb::Slice, 2> value_parts = {ToSlice(head), ToSlice(body)};
    writes_.Put(rocksdb::SliceParts(&key_part, 1),
                rocksdb::SliceParts(value_parts.data(), value_parts.size()));
  }

  void Delete(Bytes key) override { writes_.Delete(ToSlice(key)); }

  Status Commit() override { return database_.Write(&writes_); }

 private:
  static constexpr size_t kUsualSize = 512;  // of most single writes, so that they allocate once

  Database& database_;
  rocksdb::WriteBatch writes_{kUsualSize};
};

std::shared_ptr<WriteIndex> NewWriteIndex() {
  constexpr bool kLastWriteOfAKey = true;
  return std::make_shared<WriteIndex>(rocksdb::BytewiseComparator(), 0, kLastWriteOfAKey);
}

std::shared_ptr<WriteIndex> Copy(WriteIndex& writes) {
  std::shared_ptr<WriteIndex> copy = NewWriteIndex();
  const std::unique_ptr<rocksdb::WBWIIterator> entries(writes.NewIterator());
  for (entries->SeekToFirst(); entries->Valid(); entries->Next()) {
    const rocksdb::WriteEntry entry = entries->Entry();
    if (entry.type == rocksdb::kPutRecord) {
      copy->Put(entry.key, entry.value);
    } else {
      copy->Delete(entry.key);
    }
  }
  return copy;
}

class RocksIndexedBatch : public IndexedBatch {
 public:
  explicit RocksIndexedBatch(Database& database) : state_{database, nullptr, NewWriteIndex()} {}

  void Put(Bytes key, Bytes head, Bytes body) override {
    value_.assign(head).append(body);
    Writes().Put(ToSlice(key), value_);
  }

  void Delete(Bytes key) override { Writes().Delete(ToSlice(key)); }

  Status Commit() override { return state_.database.Write(state_.writes->GetWriteBatch()); }

  Status Get(Bytes key, const Visitor& visit) const override { return Read(state_, key, visit); }

  std::unique_ptr<Cursor> Entries(Bytes prefix) const override {
    return std::make_unique<RocksCursor>(state_, prefix);
  }

  std::unique_ptr<View> NewSnapshot() const override {
    shared_ = true;
    return TakeSnapshot(state_.database, state_.writes);
  }

  void Changes(Bytes prefix, const ChangeVisitor& visit) const override {
    const std::unique_ptr<rocksdb::WBWIIterator> writes(state_.writes->NewIterator());
    for (writes->Seek(ToSlice(prefix)); writes->Valid(); writes->Next()) {
      const rocksdb::WriteEntry entry = writes->Entry();
      if (!entry.key.starts_with(ToSlice(prefix))) return;
      visit(ToBytes(entry.key),
            entry.type == rocksdb::kPutRecord ? std::optional(ToBytes(entry.value)) : std::nullopt);
    }
  }

 private:
  // A snapshot's writes are never written to again, not even when the snapshot has ended: another thread may
  // have been its last reader.
  WriteIndex& Writes() {
    if (shared_) state_.writes = Copy(*state_.writes);
    shared_ = false;
    return *state_.writes;
  }

  RocksState state_;
  mutable bool shared_ = false;
  std::string value_;
};

class RocksEngine : public Engine {
 public:
  RocksEngine(const EngineOptions& options, std::unique_ptr<Database> database)
      : database_(std::move(database)), backupInterval_(options.backupInterval) {
    if (!options.backups.empty() && !options.readOnly)
      backups_ = std::make_unique<RocksBackups>(BackupPlace{options.backups, options.key});
  }

  RocksEngine(const RocksEngine&) = delete;
  RocksEngine& operator=(const RocksEngine&) = delete;
  // No step keeps the others from being tried: there may be no memory for one, or no thread.
  ~RocksEngine() override {
    const bool backs_up = backupTimer_ != nullptr;
    backupTimer_.reset();
    // What is in tables need not be read from the log again, and a seal can tell whether all of it is there.
    if (MayWrite()) Guard([this] { database_->Answer((*database_)->Flush({}), "closing"); });
    if (backs_up) Guard([this] { Backup(); });
    const Status closed = Guard([this] { return database_->Answer((*database_)->Close(), "closing"); });
    database_->opened.reset();
    if (closed == Status::SUCCESS && MayWrite() && database_->health->Sound()) Guard([this] { Seal(); });
  }

  Status Get(Bytes key, const Visitor& visit) const override { return Read(Newest(), key, visit); }

  std::unique_ptr<Cursor> Entries(Bytes prefix) const override {
    return std::make_unique<RocksCursor>(Newest(), prefix);
  }

  std::unique_ptr<View> NewSnapshot() const override { return TakeSnapshot(*database_, nullptr); }

  std::unique_ptr<Batch> NewBatch() override { return std::make_unique<RocksBatch>(*database_); }

  std::unique_ptr<IndexedBatch> NewIndexedBatch() override {
    return std::make_unique<RocksIndexedBatch>(*database_);
  }

  Status DeleteAll(std::initializer_list<Bytes> prefixes) override {
    rocksdb::WriteBatch writes;
    for (const Bytes prefix : prefixes) writes.DeleteRange(ToSlice(prefix), EndOfPrefix(prefix));
    return database_->Change(
        writes.GetDataSize(),
        [&](rocksdb::DB& database) { return database.Write(database_->writing, &writes); }, "clearing");
  }

  Status Sync() override {
    if (database_->readOnly) return Status::SUCCESS;
    if (database_->health->Dead()) return Status::DB_ERROR;
    return database_->Answer((*database_)->FlushWAL(true), "synchronising with the disk");
  }

  bool ReadOnly() const override { return database_->readOnly; }
  void Fail() override { database_->health->Fail("its folder is gone"); }

  void StartBackups() override {
    if (!backups_) return;
    backupTimer_ = std::make_unique<Periodic>(backupInterval_, [this] { Guard([this] { Backup(); }); });
  }

 private:
  RocksState Newest() const { return {*database_, nullptr, nullptr}; }

  // On one thread at a time: that of the timer or, when it has ended, the one that ends the engine. Also of a
  // database that is damaged: tables that earlier backups have are not read again, and one that is not as it
  // was written is not taken. So such a backup is whole, and has what was written since the damage.
  void Backup() {
    const uint64_t sequence = (*database_)->GetLatestSequenceNumber();
    if (backedUp_ == sequence) return;
    const rocksdb::Status status = database_->health->Dead() ? rocksdb::Status::Aborted("it has failed")
                                                             : backups_->Create(*database_->opened);
    if (status.ok()) {
      backedUp_ = sequence;
      return;
    }
    __android_log_print(KORA_LOG_ERROR, kLogTag, "%s is not backed up: %s", database_->folder.c_str(),
                        status.ToString().c_str());
    if (status.IsCorruption()) NoteDamage();
  }

  // Each backup from now on would fail, and what is written till somebody reads the damage be lost with it.
  // But what is damaged may be a backup; and a store that has none would only be closed to who insists on
  // them.
  void NoteDamage() {
    Health& health = *database_->health;
    if (health.Sound() && backups_->Any()) health.Note((*database_)->VerifyChecksum());
  }

  bool MayWrite() const { return !database_->readOnly && !database_->health->Dead(); }

  void Seal() const {
    if (const std::error_code error = WriteSeal(database_->folder)) {
      __android_log_print(KORA_LOG_WARN, kLogTag, "sealing %s: %s", database_->folder.c_str(),
                          error.message().c_str());
    }
  }

  const std::unique_ptr<Database> database_;
  const std::chrono::seconds backupInterval_;
  std::unique_ptr<RocksBackups> backups_;
  std::optional<uint64_t> backedUp_;  // the last write that the newest backup has
  std::unique_ptr<Periodic> backupTimer_;
};

// Whether what the engine says of files that are to be there can't be cured by anything but a backup.
bool IsDamage(const rocksdb::Status& status) {
  return status.IsCorruption() || status.IsNotFound() || status.IsPathNotFound() ||
         status.IsInvalidArgument();
}

Status Damaged(const EngineOptions& options, const std::string& reason) {
  __android_log_print(KORA_LOG_ERROR, kLogTag, "%s is damaged: %s", options.folder.c_str(), reason.c_str());
  return Status::RECOVER_FAILED;
}

Status CannotOpen(const EngineOptions& options, const std::string& reason) {
  __android_log_print(KORA_LOG_ERROR, kLogTag, "opening %s failed: %s", options.folder.c_str(),
                      reason.c_str());
  return Status::DB_ERROR;
}

Status OpenDatabase(const EngineOptions& options, Database& database) {
  const rocksdb::Options how = DatabaseOptions(options, database.env.get(), database.health);
  const std::string folder = options.folder.string();
  rocksdb::DB* opened = nullptr;
  const rocksdb::Status status = options.readOnly ? rocksdb::DB::OpenForReadOnly(how, folder, &opened)
                                                  : rocksdb::DB::Open(how, folder, &opened);
  database.opened.reset(opened);
  database.readOnly = options.readOnly;
  if (status.ok()) return Status::SUCCESS;
  if (!options.create && IsDamage(status)) return Damaged(options, status.ToString());
  return CannotOpen(options, status.ToString());
}

}  // namespace

Status OpenEngine(const EngineOptions& options, std::unique_ptr<Engine>& engine) {
  std::string reason;
  const SealState seal = options.create ? SealState::kNone : CheckSeal(options.folder, reason);
  if (seal == SealState::kBroken) return Damaged(options, reason);
  if (seal == SealState::kUnreadable) return CannotOpen(options, reason);
  if (seal == SealState::kIntact && !options.readOnly) {
    if (const std::error_code error = RemoveSeal(options.folder)) return CannotOpen(options, error.message());
  }
  auto database = std::make_unique<Database>(options);
  const Status status = OpenDatabase(options, *database);
  if (status == Status::SUCCESS) engine = std::make_unique<RocksEngine>(options, std::move(database));
  return status;
}

}  // namespace KORA::DistributedKv::Client
