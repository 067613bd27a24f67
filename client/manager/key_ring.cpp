#include "manager/key_ring.h"

#include <sys/stat.h>

#include "common/files.h"
#include "common/hex.h"
#include "common/log.h"
#include "manager/store_folder.h"

namespace KORA::DistributedKv::Client {

namespace {

namespace fs = std::filesystem;

Status Failed(const fs::path& file, const std::string& reason) {
  __android_log_print(KORA_LOG_ERROR, kLogTag, "key file %s: %s", file.c_str(), reason.c_str());
  return Status::DB_ERROR;
}

bool ParseKey(std::string_view text, SecretKey& key) {
  text = text.substr(0, text.find_last_not_of("\r\n") + 1);
  std::string bytes;
  const bool well = FromHex(text, bytes) && bytes.size() == SecretKey::kSize;
  if (well) std::copy(bytes.begin(), bytes.end(), key.Data());
  Wipe(bytes);
  return well;
}

void WarnIfOthersCanRead(const fs::path& file) {
  struct stat about {};
  if (stat(file.c_str(), &about) != 0 || (about.st_mode & (S_IRWXG | S_IRWXO)) == 0) return;
  __android_log_print(KORA_LOG_WARN, kLogTag, "key file %s: others than its owner may use it", file.c_str());
}

// SUCCESS, DB_ERROR, or KEY_NOT_FOUND: there is no such file.
Status ReadMasterKey(const fs::path& file, SecretKey& key) {
  std::string text;
  const std::error_code error = ReadFile(file, text);
  if (error == std::errc::no_such_file_or_directory) return Status::KEY_NOT_FOUND;
  if (error) return Failed(file, error.message());
  const bool well = ParseKey(text, key);
  Wipe(text);
  if (!well) return Failed(file, "it does not hold 64 hexadecimal digits");
  WarnIfOthersCanRead(file);
  return Status::SUCCESS;
}

Status MakeMasterKey(const Settings& settings, SecretKey& key) {
  if (HasEncryptedStore(settings.home)) {
    return Failed(settings.keyFile, "it is not there, and encrypted stores are");
  }
  if (!DrawRandom(key.Data(), SecretKey::kSize)) return Failed(settings.keyFile, "no random bytes");
  std::string text = ToHex({reinterpret_cast<const char*>(key.Data()), SecretKey::kSize}) + "\n";
  const std::error_code error = ReplaceFile(settings.keyFile, text);
  Wipe(text);
  return error ? Failed(settings.keyFile, error.message()) : Status::SUCCESS;
}

// One process at a time, so that all go on with one key.
Status ReadOrMakeMasterKey(const Settings& settings, SecretKey& key) {
  FileDescriptor lock;
  if (const std::error_code error = LockFolder(settings.home, FolderLock::kWait, lock)) {
    return Failed(settings.keyFile, settings.home.string() + ": " + error.message());
  }
  const Status status = ReadMasterKey(settings.keyFile, key);
  return status == Status::KEY_NOT_FOUND ? MakeMasterKey(settings, key) : status;
}

}  // namespace

Status NewStoreKey(const Settings& settings, SecretKey& key, std::string& wrapped) {
  SecretKey master;
  const Status status = ReadOrMakeMasterKey(settings, master);
  if (status != Status::SUCCESS) return status;
  std::string bytes;
  if (!DrawRandom(key.Data(), SecretKey::kSize) || !WrapKey(master, key, bytes)) {
    return Failed(settings.keyFile, "no key could be made");
  }
  wrapped = ToHex(bytes);
  return Status::SUCCESS;
}

Status UnwrapStoreKey(const Settings& settings, const std::string& wrapped, SecretKey& key) {
  SecretKey master;
  const Status status = ReadMasterKey(settings.keyFile, master);
  if (status == Status::KEY_NOT_FOUND) return Failed(settings.keyFile, "it is not there");
  if (status != Status::SUCCESS) return status;
  std::string bytes;
  if (FromHex(wrapped, bytes) && UnwrapKey(master, bytes, key)) return Status::SUCCESS;
  return Failed(settings.keyFile, "it holds another key than the store was created with");
}

}  // namespace KORA::DistributedKv::Client
