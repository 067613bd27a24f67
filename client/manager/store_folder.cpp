#include "manager/store_folder.h"

#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <charconv>
#include <utility>

#include "common/crypto.h"
#include "common/limits.h"
#include "common/log.h"
#include "common/properties.h"

namespace KORA::DistributedKv::Client {

namespace {

namespace fs = std::filesystem;

constexpr const char* kTraitsFile = "STORE";
constexpr const char* kCreating = "CREATING";
constexpr std::string_view kFolderFormat = "1";
constexpr std::string_view kSingle = "single";
constexpr std::string_view kMulti = "multi";
constexpr std::string_view kDeletedPrefix = ".deleted.";

Status Failed(const fs::path& path, const char* action, const std::string& reason) {
  __android_log_print(KORA_LOG_ERROR, kLogTag, "%s: cannot %s: %s", path.c_str(), action, reason.c_str());
  return Status::DB_ERROR;
}

std::string_view ValueOf(const Properties& properties, std::string_view name) {
  const auto found = properties.find(name);
  return found == properties.end() ? std::string_view() : found->second;
}

bool ParseStoreRecord(const std::string& text, StoreRecord& record) {
  Properties properties;
  std::string_view lines;
  if (!StripChecksum(text, lines) || ParseProperties(lines, properties) != 0) return false;
  if (ValueOf(properties, "format") != kFolderFormat) return false;
  StoreTraits& traits = record.traits;
  record.wrappedKey = ValueOf(properties, "key");
  traits.encrypted = !record.wrappedKey.empty();
  const std::string_view kind = ValueOf(properties, "kind");
  const std::string_view level = ValueOf(properties, "security");
  const auto [end, error] = std::from_chars(level.data(), level.data() + level.size(), traits.securityLevel);
  traits.kind = kind == kMulti ? StoreKind::kMulti : StoreKind::kSingle;
  return (kind == kSingle || kind == kMulti) && error == std::errc() && end == level.data() + level.size();
}

// Whole, by its checksum.
bool IsOfAnotherFormat(const std::string& text) {
  Properties properties;
  std::string_view lines;
  return StripChecksum(text, lines) && ParseProperties(lines, properties) == 0 &&
         ValueOf(properties, "format") != kFolderFormat;
}

std::string ToText(const StoreRecord& record) {
  std::string text;
  const auto add = [&text](std::string_view name, std::string_view value) {
    text.append(name).append("=").append(value).append("\n");
  };
  add("format", kFolderFormat);
  add("kind", record.traits.kind == StoreKind::kMulti ? kMulti : kSingle);
  add("security", std::to_string(record.traits.securityLevel));
  if (!record.wrappedKey.empty()) add("key", record.wrappedKey);
  return WithChecksum(text);
}

bool IsNothing(const std::error_code& error) {
  return error == std::errc::no_such_file_or_directory || error == std::errc::not_a_directory;
}

bool MayBeEncrypted(const fs::path& store) {
  std::string text;
  StoreRecord record;
  if (const std::error_code error = ReadFile(store / kTraitsFile, text)) return !IsNothing(error);
  return !ParseStoreRecord(text, record) || record.traits.encrypted;
}

// Whether `test` holds of a folder in this one that stands for an application or a store; also where that
// can't be told.
template <typename Test>
bool AnyIn(const fs::path& folder, Test test) {
  std::error_code error;
  for (fs::directory_iterator entry(folder, error), end; !error && entry != end; entry.increment(error)) {
    if (IsIdentifier(entry->path().filename().string()) && test(entry->path())) return true;
  }
  return error && !IsNothing(error);
}

// A name that no other deletion has.
fs::path NameForDeleted(const fs::path& application) {
  static std::atomic<unsigned> count{0};
  const std::string number = std::to_string(getpid()) + "." + std::to_string(++count);
  return application / (std::string(kDeletedPrefix) + number);
}

}  // namespace

Status StoreFolder::Lock(const fs::path& path, FolderLock mode, std::optional<StoreFolder>& folder) {
  FileDescriptor lock;
  const std::error_code error = LockFolder(path, mode, lock);
  if (error == std::errc::no_such_file_or_directory) return Status::STORE_NOT_FOUND;
  if (error == std::errc::resource_unavailable_try_again) {
    return Failed(path, "open the store", "another process has it open");
  }
  if (error) return Failed(path, "open the store", error.message());
  folder = StoreFolder(path, std::move(lock));
  return Status::SUCCESS;
}

Status ReadRecord(const fs::path& folder, StoreRecord& record) {
  std::string text;
  const fs::path file = folder / kTraitsFile;
  const std::error_code error = ReadFile(file, text);
  if (error == std::errc::no_such_file_or_directory) return Status::STORE_NOT_FOUND;
  if (error) return Failed(file, "read", error.message());
  if (ParseStoreRecord(text, record)) return Status::SUCCESS;
  if (IsOfAnotherFormat(text)) return Failed(file, "read", "written by another version of the client");
  Failed(file, "read", "damaged");
  return Status::RECOVER_FAILED;
}

Status WriteRecord(const fs::path& folder, const StoreRecord& record) {
  const std::string text = ToText(record);
  const fs::path file = folder / kTraitsFile;
  std::error_code error = ReplaceFile(file, text);
  if (!error) error = SyncFolder(folder.parent_path());
  return error ? Failed(file, "write", error.message()) : Status::SUCCESS;
}

// Whether it holds what no creation has left. False also on an error.
bool StoreFolder::HasLostRecord(std::error_code& error) const {
  const bool created = !fs::exists(path_ / kCreating, error) && !error;
  return created && !fs::is_empty(path_, error) && !error;
}

bool StoreFolder::HoldsStore() const {
  std::error_code unreadable;
  return HasLostRecord(unreadable) && fs::exists(path_ / "CURRENT", unreadable);
}

Status StoreFolder::BeginCreation() const {
  std::error_code error;
  if (HasLostRecord(error)) {
    __android_log_print(KORA_LOG_ERROR, kLogTag, "%s: the store's file STORE is gone", path_.c_str());
    return Status::RECOVER_FAILED;
  }
  if (error) return Failed(path_, "list", error.message());
  const fs::path mark = path_ / kCreating;
  error = WritePrivateFile(mark, {});
  if (!error) error = SyncFolder(path_);
  if (error) return Failed(mark, "write", error.message());
  for (fs::directory_iterator entry(path_, error), end; !error && entry != end; entry.increment(error)) {
    if (entry->path() == mark) continue;
    std::error_code removing;
    fs::remove_all(entry->path(), removing);
    if (removing) return Failed(entry->path(), "remove", removing.message());
  }
  return error ? Failed(path_, "list", error.message()) : Status::SUCCESS;
}

void StoreFolder::EndCreation() const {
  std::error_code not_there;
  fs::remove(path_ / kCreating, not_there);
}

Status RemoveFolder(const fs::path& folder, const fs::path& application) {
  const fs::path deleted = NameForDeleted(application);
  std::error_code error;
  fs::rename(folder, deleted, error);
  if (!error) error = SyncFolder(folder.parent_path());
  if (error) return Failed(folder, "delete", error.message());
  fs::remove_all(deleted, error);
  // It is gone for those who used it; RemoveLeftovers tries again.
  if (error) Failed(deleted, "remove", error.message());
  return Status::SUCCESS;
}

Status ListStores(const fs::path& application, std::vector<std::string>& storeIds) {
  std::error_code error;
  for (fs::directory_iterator entry(application, error), end; !error && entry != end;
       entry.increment(error)) {
    std::error_code ignored;
    std::string name = entry->path().filename().string();
    if (IsIdentifier(name) && fs::exists(entry->path() / kTraitsFile, ignored))
      storeIds.push_back(std::move(name));
  }
  if (error && error != std::errc::no_such_file_or_directory)
    return Failed(application, "list", error.message());
  std::sort(storeIds.begin(), storeIds.end());
  return Status::SUCCESS;
}

bool HasEncryptedStore(const fs::path& home) {
  return AnyIn(home, [](const fs::path& application) {
    return AnyIn(application, MayBeEncrypted) || AnyIn(application / kBackupsFolder, MayBeEncrypted);
  });
}

void RemoveLeftovers(const fs::path& application) {
  std::error_code error;
  for (fs::directory_iterator entry(application, error), end; !error && entry != end;
       entry.increment(error)) {
    std::error_code ignored;  // another process may be removing it
    const std::string name = entry->path().filename().string();
    if (name.compare(0, kDeletedPrefix.size(), kDeletedPrefix) == 0) fs::remove_all(entry->path(), ignored);
  }
}

}  // namespace KORA::DistributedKv::Client
