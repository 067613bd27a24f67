#include "engine/rocksdb_options.h"

#include <rocksdb/cache.h>
#include <rocksdb/file_checksum.h>
#include <rocksdb/filter_policy.h>
#include <rocksdb/table.h>
#include <rocksdb/write_buffer_manager.h>

#include <algorithm>
#include <array>
#include <cstdarg>
#include <cstdio>
#include <utility>

#include "common/log.h"
#include "engine/encrypted_file_system.h"
#include "engine/private_file_system.h"

namespace KORA::DistributedKv::Client {

namespace {

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

rocksdb::BlockBasedTableOptions TableOptions(const SharedMemory& memory) {
  rocksdb::BlockBasedTableOptions table;
  table.block_cache = memory.cache;
  table.cache_index_and_filter_blocks = true;  // so that they count
  table.pin_l0_filter_and_index_blocks_in_cache = true;
  constexpr double kFilterBitsPerKey = 10;  // one absent key in a hundred is looked for in vain
  table.filter_policy.reset(rocksdb::NewBloomFilterPolicy(kFilterBitsPerKey));
  return table;
}

std::shared_ptr<rocksdb::FileSystem>& FilesOfProcess() {
  static auto& files = *new std::shared_ptr<rocksdb::FileSystem>(rocksdb::FileSystem::Default());
  return files;
}

}  // namespace

void PutBelowEngines(const std::shared_ptr<rocksdb::FileSystem>& files) {
  FilesOfProcess() = files;
}

std::shared_ptr<rocksdb::FileSystem> NewFiles(const SecretKey* key, LogRoom* room) {
  auto files = std::make_shared<PrivateFileSystem>(FilesOfProcess(), room);
  if (key == nullptr) return files;
  return NewEncryptedFileSystem(files, *key);
}

std::shared_ptr<rocksdb::Logger> NewEngineLog() {
  return std::make_shared<EngineLog>();
}

rocksdb::Options DatabaseOptions(const EngineOptions& wanted, rocksdb::Env* env,
                                 std::shared_ptr<rocksdb::EventListener> health) {
  const SharedMemory& memory = MemoryOfProcess(wanted.memoryBudget);
  rocksdb::Options options;
  options.create_if_missing = wanted.create;
  options.env = env;
  options.info_log = NewEngineLog();
  options.table_factory.reset(rocksdb::NewBlockBasedTableFactory(TableOptions(memory)));
  options.write_buffer_manager = memory.writeBuffers;
  options.write_buffer_size = memory.writeBuffers->buffer_size() / 2;
  // Twice what is merged into the first level below at a time, four write buffers. A larger one is rewritten
  // for little that is new, until writers of large values have to wait for it: four times as long.
  options.max_bytes_for_level_base = 8 * options.write_buffer_size;
  // Saves most reads the way through what was written lately: a fifth of their time. 70 KiB with the usual
  // budget.
  options.memtable_whole_key_filtering = true;
  constexpr double kShareOfFilter = 0.01;
  options.memtable_prefix_bloom_size_ratio = kShareOfFilter;
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
  options.listeners.push_back(std::move(health));
  // A log that a crash has cut off ends with its last whole write; any other gap in it is damage.
  options.wal_recovery_mode = rocksdb::WALRecoveryMode::kTolerateCorruptedTailRecords;
  options.write_dbid_to_manifest = true;  // which has checksums; the file IDENTITY has none
  options.file_checksum_gen_factory = rocksdb::GetFileChecksumGenCrc32cFactory();
  return options;
}

}  // namespace KORA::DistributedKv::Client
