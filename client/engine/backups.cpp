#include "engine/backups.h"

#include <rocksdb/env.h>
#include <rocksdb/utilities/backup_engine.h>

#include <memory>
#include <string>
#include <vector>

#include "common/files.h"
#include "common/log.h"
#include "engine/rocksdb_backups.h"
#include "engine/rocksdb_options.h"

namespace KORA::DistributedKv::Client {

namespace {

Status Failed(const rocksdb::Status& status, const char* action, const std::filesystem::path& folder) {
  __android_log_print(KORA_LOG_ERROR, kLogTag, "%s %s failed: %s", action, folder.c_str(),
                      status.ToString().c_str());
  return Status::DB_ERROR;
}

}  // namespace

RocksBackups::RocksBackups(const BackupPlace& place)
    : folder_(place.folder),
      env_(rocksdb::NewCompositeEnv(NewFiles(place.key, nullptr))),
      log_(NewEngineLog()) {}

rocksdb::Status RocksBackups::Open() {
  if (const std::error_code error = MakePrivateFolders(folder_)) {
    return rocksdb::Status::IOError(folder_.string(), error.message());
  }
  rocksdb::BackupEngineOptions options(folder_.string(), env_.get());
  options.info_log = log_.get();
  rocksdb::BackupEngine* engine = nullptr;
  rocksdb::Status status = rocksdb::BackupEngine::Open(options, env_.get(), &engine);
  engine_.reset(engine);
  return status;
}

Status RocksBackups::Create(rocksdb::DB& database) {
  rocksdb::Status status = Open();
  if (!status.ok()) return Failed(status, "opening backups", folder_);
  // A backup is marked with the number of its last write.
  const std::string state = std::to_string(database.GetLatestSequenceNumber());
  std::vector<rocksdb::BackupInfo> made;
  engine_->GetBackupInfo(&made);
  if (!made.empty() && made.back().app_metadata == state) return Status::SUCCESS;
  rocksdb::CreateBackupOptions options;
  options.flush_before_backup = true;
  status = engine_->CreateNewBackupWithMetadata(options, &database, state);
  if (status.ok()) status = engine_->PurgeOldBackups(kKeptBackups);
  return status.ok() ? Status::SUCCESS : Failed(status, "backing up to", folder_);
}

bool HasBackups(const std::filesystem::path& folder) {
  std::error_code error;
  std::filesystem::directory_iterator entry(folder / "meta", error);
  return !error && entry != std::filesystem::directory_iterator();
}

Status RestoreBackup(const BackupPlace& place, const std::filesystem::path& target, int64_t& time) {
  if (!HasBackups(place.folder)) return Status::RECOVER_FAILED;
  RocksBackups all(place);
  if (const rocksdb::Status status = all.Open(); !status.ok())
    return Failed(status, "opening backups", place.folder);
  std::vector<rocksdb::BackupInfo> found;
  all->GetBackupInfo(&found);
  Status none = Status::RECOVER_FAILED;
  for (auto backup = found.rbegin(); backup != found.rend(); ++backup) {
    rocksdb::Status status = all->RestoreDBFromBackup(backup->backup_id, target.string(), target.string());
    if (status.ok()) {
      time = backup->timestamp;
      return Status::SUCCESS;
    }
    Failed(status, "restoring a backup from", place.folder);
    // A smaller one might find room, but later the newest will.
    if (status.IsNoSpace()) return Status::DB_ERROR;
    const bool damaged = status.IsCorruption() || status.IsNotFound() || status.IsPathNotFound();
    if (!damaged) none = Status::DB_ERROR;
  }
  return none;
}

}  // namespace KORA::DistributedKv::Client
