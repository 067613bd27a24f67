// Files and folders that belong to this user alone, whatever the umask of the process.
#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <string_view>
#include <system_error>
#include <utility>

namespace KORA::DistributedKv::Client {

// Owns a file descriptor.
class FileDescriptor {
 public:
  explicit FileDescriptor(int number = -1) : number_(number) {}
  FileDescriptor(FileDescriptor&& other) noexcept : number_(std::exchange(other.number_, -1)) {}
  FileDescriptor& operator=(FileDescriptor&& other) noexcept {
    std::swap(number_, other.number_);
    return *this;
  }
  FileDescriptor(const FileDescriptor&) = delete;
  FileDescriptor& operator=(const FileDescriptor&) = delete;
  ~FileDescriptor();

  int Number() const { return number_; }
  explicit operator bool() const { return number_ >= 0; }

 private:
  int number_;
};

// Makes the folder and what is missing above it, each with mode 0700. A folder that is there stays as it is.
std::error_code MakePrivateFolders(const std::filesystem::path& folder);

// What errno says.
std::error_code LastError();

// False on failure, with errno.
FileDescriptor OpenForReading(const std::filesystem::path& file);

// Appends `size` bytes from `offset` on to `content`. Error io_error: the file is shorter.
std::error_code ReadRange(const FileDescriptor& file, uint64_t offset, uint64_t size, std::string& content);

std::error_code ReadFile(const std::filesystem::path& file, std::string& content);

// Writes the file in place, with mode 0600, and makes its content lasting.
std::error_code WritePrivateFile(const std::filesystem::path& name, std::string_view content);

// Puts `content` in place of the file, with mode 0600: all of it or, after a crash, what was there before.
std::error_code ReplaceFile(const std::filesystem::path& file, std::string_view content);

// Makes lasting which names the folder holds.
std::error_code SyncFolder(const std::filesystem::path& folder);

// Whether nobody can write where the path leads or, if nothing is there yet, where it would be made.
bool IsOnReadOnlyFileSystem(const std::filesystem::path& path);

enum class FolderLock {
  kTry,
  kTryShared,  // with others that lock it so
  kWait,
};

// Whether the path still leads to the folder that was opened, and not to one that took its place.
bool LeadsTo(const std::filesystem::path& folder, const FileDescriptor& opened);

// Opens the folder and locks it for this process until `lock` closes it. Errors: no_such_file_or_directory;
// resource_unavailable_try_again when it is locked already and is not waited for.
std::error_code LockFolder(const std::filesystem::path& folder, FolderLock mode, FileDescriptor& lock);

}  // namespace KORA::DistributedKv::Client
