#include <rocksdb/cache.h>
#include <rocksdb/db.h>
#include <rocksdb/env.h>
#include <rocksdb/filter_policy.h>
#include <rocksdb/options.h>
#include <rocksdb/table.h>
#include <rocksdb/utilities/write_batch_with_index.h>
#include <rocksdb/write_batch.h>
#include <rocksdb/write_buffer_manager.h>

#include <algorithm>
#include <array>
#include <cstdarg>
#include <cstdio>
#include <string>
#include <utility>

#include "common/log.h"
#include "engine/encrypted_file_system.h"
#include "engine/engine.h"
#include "engine/private_file_system.h"

namespace KORA::DistributedKv::Client {

namespace {

rocksdb::Slice ToSlice(Bytes bytes) {
  return {bytes.data(), bytes.size()};
}
Bytes ToBytes(const rocksdb::Slice& slice) {
  return {slice.data(), slice.size()};
}

Status ToStatus(const rocksdb::Status& status, const char* action) {
  if (status.ok()) return Status::SUCCESS;
  if (status.IsNotFound()) return Status::KEY_NOT_FOUND;
  __android_log_print(KORA_LOG_ERROR, kLogTag, "%s failed: %s", action, status.ToString().c_str());
  return Status::DB_ERROR;
}

// What RocksDB itself has to say goes to the platform log instead of a file in the store. Its warnings tell
// of nothing unusual, a writer that waits for a flush for one.
class EngineLog : public rocksdb::Logger {
 public:
  EngineLog() : Logger(rocksdb::InfoLogLevel::WARN_LEVEL) {}

  using Logger::Logv;
  void Logv(rocksdb::InfoLogLevel level, const char* format, va_list arguments) override {
    if (level < GetInfoLogLevel()) return;
    std::array<char, 1024> line{};
    std::vsnprintf(line.data(), line.size(), format, arguments);
    const int priority = level == rocksdb::InfoLogLevel::WARN_LEVEL ? KORA_LOG_INFO : KORA_LOG_ERROR;
    __android_log_print(priority, kLogTag, "engine: %s", line.data());
  }
};

// What flushes, compactions and the heap's own management take beside the cache.
constexpr uint64_t kWorkingMemory = uint64_t{8} << 20;

// Memory that all databases of the process share: the write buffers count against the cache.
struct SharedMemory {
  explicit SharedMemory(uint64_t budget)
      : cache(rocksdb::NewLRUCache(std::max(budget / 2, budget - std::min(budget, kWorkingMemory)),
                                   kShardBits)),
        writeBuffers(std::make_shared<rocksdb::WriteBufferManager>(cache->GetCapacity() / 4, cache)) {}

  static constexpr int kShardBits = 4;  // few shards, so that one large block does not fill one

  std::shared_ptr<rocksdb::Cache> cache;
  std::shared_ptr<rocksdb::WriteBufferManager> writeBuffers;
};

const SharedMemory& MemoryOfProcess(uint64_t budget) {
  static const auto& memory = *new SharedMemory(budget);
  return memory;
}

const std::shared_ptr<rocksdb::FileSystem>& PlainFiles() {
  static const auto& files = *new std::shared_ptr<rocksdb::FileSystem>(
      std::make_shared<PrivateFileSystem>(rocksdb::FileSystem::Default()));
  return files;
}

std::unique_ptr<rocksdb::Env> NewEnv(const EngineOptions& wanted) {
  return rocksdb::NewCompositeEnv(wanted.key == nullptr ? PlainFiles()
                                                        : NewEncryptedFileSystem(PlainFiles(), *wanted.key));
}

rocksdb::BlockBasedTableOptions TableOptions(const SharedMemory& memory) {
  rocksdb::BlockBasedTableOptions table;
  table.block_cache = memory.cache;
  table.cache_index_and_filter_blocks = true;  // so that they count
  table.pin_l0_filter_and_index_blocks_in_cache = true;
  constexpr double kFilterBitsPerKey = 10;  // one absent key in a hundred is looked for in vain
  table.filter_policy.reset(rocksdb::NewBloomFilterPolicy(kFilterBitsPerKey));
  return table;
}

rocksdb::Options DatabaseOptions(const EngineOptions& wanted, rocksdb::Env* env) {
  const SharedMemory& memory = MemoryOfProcess(wanted.memoryBudget);
  rocksdb::Options options;
  options.create_if_missing = wanted.create;
  options.env = env;
  options.info_log = std::make_shared<EngineLog>();
  options.table_factory.reset(rocksdb::NewBlockBasedTableFactory(TableOptions(memory)));
  options.write_buffer_manager = memory.writeBuffers;
  options.write_buffer_size = memory.writeBuffers->buffer_size() / 2;
  constexpr size_t kArenaBlock = size_t{256} << 10;  // what an idle store holds
  options.arena_block_size = kArenaBlock;
  options.compression = rocksdb::kLZ4Compression;
  options.level_compaction_dynamic_level_bytes = true;
  options.max_open_files = 256;  // many stores share the process's descriptors
  options.skip_stats_update_on_db_open = true;
  // No thread that wakes up now and then.
  options.stats_dump_period_sec = 0;
  options.stats_persist_period_sec = 0;
  // Each store has one writer at a time, so there is nothing to win from concurrent inserts.
  options.allow_concurrent_memtable_write = false;
  options.enable_write_thread_adaptive_yield = false;
  return options;
}

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
  rocksdb::DB& database;
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
    rocksdb::ReadOptions options = state_.Options();
    if (!end_.empty()) options.iterate_upper_bound = &upperBound_;
    entries_.reset(state_.database.NewIterator(options));
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
  Status Result() const override { return ToStatus(entries_->status(), "reading entries"); }

 private:
  const RocksState state_;
  const std::string prefix_;
  const std::string end_;
  const rocksdb::Slice upperBound_;
  std::unique_ptr<rocksdb::Iterator> entries_;
};

Status Read(const RocksState& state, Bytes key, const View::Visitor& visit) {
  rocksdb::PinnableSlice value;
  const rocksdb::Status status =
      state.writes
          ? state.writes->GetFromBatchAndDB(&state.database, state.Options(), ToSlice(key), &value)
          : state.database.Get(state.Options(), state.database.DefaultColumnFamily(), ToSlice(key), &value);
  if (status.ok()) visit(ToBytes(value));
  return ToStatus(status, "reading");
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

std::unique_ptr<View> TakeSnapshot(rocksdb::DB& database, std::shared_ptr<WriteIndex> writes) {
  std::shared_ptr<const rocksdb::Snapshot> snapshot(
      database.GetSnapshot(),
      [&database](const rocksdb::Snapshot* taken) { database.ReleaseSnapshot(taken); });
  return std::make_unique<RocksSnapshot>(RocksState{database, std::move(snapshot), std::move(writes)});
}

class RocksBatch : public Batch {
 public:
  RocksBatch(rocksdb::DB& database, const rocksdb::WriteOptions& options)
      : database_(database), options_(options) {}

  void Put(Bytes key, Bytes head, Bytes body) override {
    const rocksdb::Slice key_part = ToSlice(key);
    const std::array<rocksdb::Slice, 2> value_parts = {ToSlice(head), ToSlice(body)};
    writes_.Put(rocksdb::SliceParts(&key_part, 1),
                rocksdb::SliceParts(value_parts.data(), value_parts.size()));
  }

  void Delete(Bytes key) override { writes_.Delete(ToSlice(key)); }

  Status Commit() override { return ToStatus(database_.Write(options_, &writes_), "writing"); }

 private:
  rocksdb::DB& database_;
  const rocksdb::WriteOptions& options_;
  rocksdb::WriteBatch writes_;
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
  RocksIndexedBatch(rocksdb::DB& database, const rocksdb::WriteOptions& options)
      : options_(options), state_{database, nullptr, NewWriteIndex()} {}

  void Put(Bytes key, Bytes head, Bytes body) override {
    value_.assign(head).append(body);
    Writes().Put(ToSlice(key), value_);
  }

  void Delete(Bytes key) override { Writes().Delete(ToSlice(key)); }

  Status Commit() override {
    return ToStatus(state_.database.Write(options_, state_.writes->GetWriteBatch()), "writing");
  }

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

  const rocksdb::WriteOptions& options_;
  RocksState state_;
  mutable bool shared_ = false;
  std::string value_;
};

class RocksEngine : public Engine {
 public:
  RocksEngine(std::unique_ptr<rocksdb::Env> env, std::unique_ptr<rocksdb::DB> database, bool syncCommits)
      : env_(std::move(env)), database_(std::move(database)) {
    options_.sync = syncCommits;
  }

  RocksEngine(const RocksEngine&) = delete;
  RocksEngine& operator=(const RocksEngine&) = delete;
  ~RocksEngine() override { ToStatus(database_->Close(), "closing"); }

  Status Get(Bytes key, const Visitor& visit) const override { return Read(Newest(), key, visit); }

  std::unique_ptr<Cursor> Entries(Bytes prefix) const override {
    return std::make_unique<RocksCursor>(Newest(), prefix);
  }

  std::unique_ptr<View> NewSnapshot() const override { return TakeSnapshot(*database_, nullptr); }

  std::unique_ptr<Batch> NewBatch() override { return std::make_unique<RocksBatch>(*database_, options_); }

  std::unique_ptr<IndexedBatch> NewIndexedBatch() override {
    return std::make_unique<RocksIndexedBatch>(*database_, options_);
  }

  Status DeleteAll(Bytes prefix) override {
    return ToStatus(database_->DeleteRange(options_, database_->DefaultColumnFamily(), ToSlice(prefix),
                                           EndOfPrefix(prefix)),
                    "clearing");
  }

  Status Sync() override { return ToStatus(database_->FlushWAL(true), "synchronising with the disk"); }

 private:
  RocksState Newest() const { return {*database_, nullptr, nullptr}; }

  const std::unique_ptr<rocksdb::Env> env_;  // outlives the database
  std::unique_ptr<rocksdb::DB> database_;
  rocksdb::WriteOptions options_;
};

}  // namespace

std::unique_ptr<Engine> OpenEngine(const EngineOptions& options) {
  std::unique_ptr<rocksdb::Env> env = NewEnv(options);
  rocksdb::DB* database = nullptr;
  const rocksdb::Status status =
      rocksdb::DB::Open(DatabaseOptions(options, env.get()), options.folder.string(), &database);
  if (ToStatus(status, ("opening " + options.folder.string()).c_str()) != Status::SUCCESS) return nullptr;
  return std::make_unique<RocksEngine>(std::move(env), std::unique_ptr<rocksdb::DB>(database),
                                       options.syncCommits);
}

}  // namespace KORA::DistributedKv::Client
