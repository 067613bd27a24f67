#include "engine/backups.h"

#include <rocksdb/env.h>
#include <rocksdb/utilities/backup_engine.h>

#include <array>
#include <memory>
#include <string>
#include <vector>

#include "common/crypto.h"
#include "common/files.h"
#include "common/hex.h"
#include "common/log.h"
#include "engine/rocksdb_backups.h"
#include "engine/rocksdb_options.h"

namespace KORA::DistributedKv::Client {

namespace {

constexpr const char* kRestoredFile = "RESTORED";

Status Failed(const rocksdb::Status& status, const char* action, const std::filesystem::path& folder) {
  __android_log_print(KORA_LOG_ERROR, kLogTag, "%s %s failed: %s", action, folder.c_str(),
                      status.ToString().c_str());
  return Status::DB_ERROR;
}

Status Failed(const std::error_code& error, const std::filesystem::path& file) {
  return Failed(rocksdb::Status::IOError(error.message()), "writing", file);
}

// The state of a database: a number of writes, which is not the same state in a database that was restored. A
// mark that can't be read costs a backup more than needed.
std::string StateOf(const rocksdb::DB& database) {
  std::string mark;
  ReadFile(std::filesystem::path(database.GetName()) / kRestoredFile, mark);
  return mark + std::to_string(database.GetLatestSequenceNumber());
}

Status MarkRestored(const std::filesystem::path& folder, int64_t time) {
  std::array<unsigned char, 16> mark{};
  if (!DrawRandom(mark.data(), mark.size())) return Status::DB_ERROR;
  const std::string digits = ToHex({reinterpret_cast<const char*>(mark.data()), mark.size()});
  const std::filesystem::path file = folder / kRestoredFile;
  const std::error_code error =
      WritePrivateFile(file, "backup=" + std::to_string(time) + "\nmark=" + digits + "\n");
  return error ? Failed(error, file) : Status::SUCCESS;
}

bool IsDamage(const rocksdb::Status& status) {
  return status.IsCorruption() || status.IsNotFound() || status.IsPathNotFound();
}

Status Restore(const RocksBackups& all, const rocksdb::BackupInfo& backup,
               const std::filesystem::path& target, int64_t& time) {
  time = backup.timestamp;
  const rocksdb::Status status = all->RestoreDBFromBackup(backup.backup_id, target.string(), target.string());
  return status.ok() ? MarkRestored(target, time) : Failed(status, "restoring a backup to", target);
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

rocksdb::Status RocksBackups::Create(rocksdb::DB& database) {
  rocksdb::Status status = Open();
  if (!status.ok()) return status;
  const std::string state = StateOf(database);
  std::vector<rocksdb::BackupInfo> made;
  engine_->GetBackupInfo(&made);
  if (!made.empty() && made.back().app_metadata == state) return status;
  rocksdb::CreateBackupOptions options;
  options.flush_before_backup = true;
  status = engine_->CreateNewBackupWithMetadata(options, &database, state);
  return status.ok() ? engine_->PurgeOldBackups(kKeptBackups) : status;
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
  for (auto backup = found.rbegin(); backup != found.rend(); ++backup) {
    constexpr bool kWithChecksums = true;
    // By itself, so that trouble with the target is never taken for damage: an older backup might have none.
    const rocksdb::Status status = all->VerifyBackup(backup->backup_id, kWithChecksums);
    if (status.ok()) return Restore(all, *backup, target, time);
    Failed(status, "verifying a backup in", place.folder);
    if (!IsDamage(status)) return Status::DB_ERROR;
  }
  return Status::RECOVER_FAILED;
}

}  // namespace KORA::DistributedKv::Client
