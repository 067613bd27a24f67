// RocksDB's backup engine over the backups of one store. One thread at a time.
#pragma once

#include <rocksdb/db.h>
#include <rocksdb/env.h>
#include <rocksdb/utilities/backup_engine.h>

#include <filesystem>
#include <memory>

#include "engine/backups.h"

namespace KORA::DistributedKv::Client {

inline constexpr uint32_t kKeptBackups = 3;

class RocksBackups {
 public:
  explicit RocksBackups(const BackupPlace& place);

  // Makes a backup of the database's present state, unless the newest one has that very state.
  rocksdb::Status Create(rocksdb::DB& database);

  bool Any() const { return HasBackups(folder_); }

  rocksdb::Status Open();
  // Once it is open.
  rocksdb::BackupEngine* operator->() const { return engine_.get(); }

 private:
  const std::filesystem::path folder_;
  const std::unique_ptr<rocksdb::Env> env_;
  const std::shared_ptr<rocksdb::Logger> log_;
  std::unique_ptr<rocksdb::BackupEngine> engine_;
};

}  // namespace KORA::DistributedKv::Client
