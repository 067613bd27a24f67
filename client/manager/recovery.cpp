#include "manager/recovery.h"

#include <array>
#include <ctime>
#include <memory>
#include <utility>

#include "common/files.h"
#include "common/log.h"
#include "common/settings.h"
#include "engine/backups.h"
#include "manager/key_ring.h"
#include "manager/store_engine.h"
#include "store/store.h"

namespace KORA::DistributedKv::Client {

namespace {

namespace fs = std::filesystem;

Status Failed(const fs::path& path, const char* action, const std::error_code& error) {
  __android_log_print(KORA_LOG_ERROR, kLogTag, "%s: cannot %s: %s", path.c_str(), action,
                      error.message().c_str());
  return Status::DB_ERROR;
}

std::string ToText(int64_t seconds) {
  const std::time_t time = seconds;
  std::tm parts{};
  std::array<char, 32> text{};
  gmtime_r(&time, &parts);
  return {text.data(), std::strftime(text.data(), text.size(), "%Y-%m-%d %H:%M:%S UTC", &parts)};
}

Status FillFrom(const fs::path& backups, const StoreRecord& record, const fs::path& target, int64_t& time) {
  const Settings* settings = nullptr;
  Status status = FindSettings(settings);
  SecretKey key;
  if (status == Status::SUCCESS && record.traits.encrypted)
    status = UnwrapStoreKey(*settings, record.wrappedKey, key);
  if (status != Status::SUCCESS) return status;
  const BackupPlace place{backups, record.traits.encrypted ? &key : nullptr};
  status = RestoreBackup(place, target, time);
  return status == Status::SUCCESS ? WriteRecord(target, record) : status;
}

// Whether a store can be opened there: a backup may hold what the store itself could not be opened for.
Status TryToLoad(const fs::path& restored, StoreRecord record) {
  EngineUse use;
  use.readOnly = true;
  std::unique_ptr<Engine> engine;
  const Status status = OpenStoreEngine(restored, std::move(use), record, engine);
  if (status != Status::SUCCESS) return status;
  const std::string name = restored.filename().string();
  return std::make_shared<Store>(name, record.traits, std::move(engine), std::string())->Load();
}

// A folder that a crash between the two moves has left without its name is put together again from the
// backups, as one that was lost.
Status PutInPlace(const fs::path& restored, const fs::path& store, const fs::path& aside) {
  std::error_code error;
  const bool moves = !fs::is_empty(store, error) && !error;
  if (moves) {
    fs::remove_all(aside, error);
    if (!error) fs::rename(store, aside, error);
  }
  if (error) return Failed(store, "move the damaged store aside", error);
  fs::rename(restored, store, error);
  if (!error) {
    error = SyncFolder(store.parent_path());
    if (error) Failed(store, "make it lasting that the restored store is in place", error);
    return Status::SUCCESS;
  }
  std::error_code ignored;
  if (moves) fs::rename(aside, store, ignored);
  return Failed(store, "put the restored store in place", error);
}

}  // namespace

fs::path BackupsOf(const fs::path& store) {
  return store.parent_path() / kBackupsFolder / store.filename();
}

Status PrepareBackups(const fs::path& store, const StoreRecord& record) {
  const fs::path backups = BackupsOf(store);
  if (const std::error_code error = MakePrivateFolders(backups))
    return Failed(backups, "make the folder", error);
  return WriteRecord(backups, record);
}

Status FindRecord(const fs::path& store, StoreRecord& record) {
  Status status = ReadRecord(store, record);
  if (status == Status::STORE_NOT_FOUND || status == Status::RECOVER_FAILED)
    status = ReadRecord(BackupsOf(store), record);
  return status == Status::STORE_NOT_FOUND ? Status::RECOVER_FAILED : status;
}

Status RestoreStore(const StoreFolder& folder, const StoreRecord& record) {
  const fs::path& store = folder.Path();
  const fs::path backups = BackupsOf(store);
  const fs::path restoring = backups / "restoring";
  if (!HasBackups(backups)) return Status::RECOVER_FAILED;
  FileDescriptor lock;
  if (const std::error_code error = LockFolder(backups, FolderLock::kTry, lock))
    return Failed(backups, "lock the backups", error);
  // Who had them before may have put a restored store there, and use it by now.
  if (!folder.IsThere())
    return Failed(store, "recover the store", std::make_error_code(std::errc::device_or_resource_busy));
  std::error_code error;
  fs::remove_all(restoring, error);
  if (!error) error = MakePrivateFolders(restoring);
  if (error) return Failed(restoring, "make the folder", error);

  int64_t time = 0;
  Status status = FillFrom(backups, record, restoring, time);
  if (status == Status::SUCCESS) status = TryToLoad(restoring, record);
  if (status == Status::SUCCESS) status = PutInPlace(restoring, store, backups / "damaged");
  if (status != Status::SUCCESS) {
    fs::remove_all(restoring, error);
    return status;
  }
  __android_log_print(
      KORA_LOG_WARN, kLogTag,
      "%s is restored from the backup of %s; what was written later is lost; the former files "
      "are in %s",
      store.c_str(), ToText(time).c_str(), (backups / "damaged").c_str());
  return Status::SUCCESS;
}

// The folder above stays though it may be empty: another store may be about to make its own in it.
Status RemoveBackups(const fs::path& store) {
  return RemoveFolder(BackupsOf(store), store.parent_path());
}

}  // namespace KORA::DistributedKv::Client
