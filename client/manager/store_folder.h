// The folder of one store.
//
// The engine's files lie in it, beside the file "STORE": lines "name=value" with
//   format    1
//   kind      single or multi
//   security  the security level's code
//   key       of an encrypted store: its key, wrapped, in hexadecimal
//   checksum  SHA-256 over the lines before, in hexadecimal
// That file is written last when a store is created. While it is, the folder has the file "CREATING": so what
// a creation that was cut off has left can be told from a store that has lost its file. A store that is being
// deleted is moved to a name that begins with a dot first.
#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "common/files.h"
#include "contract/status.h"
#include "store/store.h"

namespace KORA::DistributedKv::Client {

// What the file STORE says.
struct StoreRecord {
  StoreTraits traits;
  std::string wrappedKey;  // empty: not encrypted
};

// Holds the folder against other processes as long as the object lives. Failures leave a line in the log.
class StoreFolder {
 public:
  // SUCCESS; STORE_NOT_FOUND; DB_ERROR, also when another process has it. Readers may share it.
  static Status Lock(const std::filesystem::path& path, FolderLock mode, std::optional<StoreFolder>& folder);

  const std::filesystem::path& Path() const { return path_; }
  // False: it was deleted, or another one took its place.
  bool IsThere() const { return LeadsTo(path_, lock_); }

  // Of one without a record: whether a store was created in it all the same. What a creation that was cut off
  // has left is none, and no more are other people's files.
  bool HoldsStore() const;
  // Marks the folder and removes what a creation that was cut off has left. SUCCESS; RECOVER_FAILED: what is
  // in it was left by none; DB_ERROR.
  Status BeginCreation() const;
  // The store is there.
  void EndCreation() const;

 private:
  bool HasLostRecord(std::error_code& error) const;

  StoreFolder(std::filesystem::path path, FileDescriptor lock)
      : path_(std::move(path)), lock_(std::move(lock)) {}

  std::filesystem::path path_;
  FileDescriptor lock_;
};

// SUCCESS; STORE_NOT_FOUND when no store was created in the folder; RECOVER_FAILED: damaged; DB_ERROR, also
// for a record of another format.
Status ReadRecord(const std::filesystem::path& folder, StoreRecord& record);
// Makes the store exist.
Status WriteRecord(const std::filesystem::path& folder, const StoreRecord& record);

// Removes a folder below that of an application: at once from its name, then from the disk.
Status RemoveFolder(const std::filesystem::path& folder, const std::filesystem::path& application);

// The folder in that of an application which holds the backups of its stores, a folder for each.
inline constexpr const char* kBackupsFolder = ".backups";

// The stores in an application's folder, in the order of their identifiers. SUCCESS or DB_ERROR.
Status ListStores(const std::filesystem::path& application, std::vector<std::string>& storeIds);

// Whether any application has an encrypted store, or a backup of one. What can't be read may be one.
bool HasEncryptedStore(const std::filesystem::path& home);

// Removes from an application's folder what deletions that were cut off have left.
void RemoveLeftovers(const std::filesystem::path& application);

}  // namespace KORA::DistributedKv::Client
