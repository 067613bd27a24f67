#include "common/files.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

namespace KORA::DistributedKv::Client {

namespace {

constexpr mode_t kPrivateFolder = S_IRWXU;
constexpr mode_t kPrivateFile = S_IRUSR | S_IWUSR;

std::error_code MakePrivateFolder(const std::filesystem::path& folder) {
  if (mkdir(folder.c_str(), kPrivateFolder) != 0) {
    std::error_code ignored;
    return errno == EEXIST && std::filesystem::is_directory(folder, ignored) ? std::error_code()
                                                                             : LastError();
  }
  return chmod(folder.c_str(), kPrivateFolder) == 0 ? std::error_code() : LastError();
}

std::error_code WriteAll(int file, std::string_view content) {
  while (!content.empty()) {
    const ssize_t written = write(file, content.data(), content.size());
    if (written < 0 && errno != EINTR) return LastError();
    if (written > 0) content.remove_prefix(static_cast<size_t>(written));
  }
  return {};
}

}  // namespace

FileDescriptor::~FileDescriptor() {
  if (number_ >= 0) close(number_);
}

std::error_code MakePrivateFolders(const std::filesystem::path& folder) {
  std::filesystem::path so_far;
  for (const auto& part : folder) {
    so_far /= part;
    if (const std::error_code error = MakePrivateFolder(so_far)) return error;
  }
  return {};
}

std::error_code LastError() {
  return {errno, std::generic_category()};
}

FileDescriptor OpenForReading(const std::filesystem::path& file) {
  return FileDescriptor(open(file.c_str(), O_RDONLY | O_CLOEXEC));
}

std::error_code ReadRange(const FileDescriptor& file, uint64_t offset, uint64_t size, std::string& content) {
  const size_t before = content.size();
  content.resize(before + size);
  for (uint64_t done = 0; done < size;) {
    const ssize_t count =
        pread(file.Number(), content.data() + before + done, size - done, static_cast<off_t>(offset + done));
    if (count == 0) return std::make_error_code(std::errc::io_error);
    if (count < 0 && errno != EINTR) return LastError();
    if (count > 0) done += static_cast<uint64_t>(count);
  }
  return {};
}

std::error_code ReadFile(const std::filesystem::path& file, std::string& content) {
  const FileDescriptor opened = OpenForReading(file);
  if (!opened) return LastError();
  content.clear();
  char block[4096];
  for (;;) {
    const ssize_t size = read(opened.Number(), block, sizeof block);
    if (size == 0) return {};
    if (size < 0 && errno != EINTR) return LastError();
    if (size > 0) content.append(block, static_cast<size_t>(size));
  }
}

std::error_code WritePrivateFile(const std::filesystem::path& name, std::string_view content) {
  const FileDescriptor file(open(name.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, kPrivateFile));
  if (!file || fchmod(file.Number(), kPrivateFile) != 0) return LastError();
  if (const std::error_code error = WriteAll(file.Number(), content)) return error;
  return fsync(file.Number()) == 0 ? std::error_code() : LastError();
}

std::error_code ReplaceFile(const std::filesystem::path& file, std::string_view content) {
  // Several processes may do so at once.
  const std::filesystem::path draft = file.string() + "." + std::to_string(getpid()) + ".draft";
  std::error_code error = WritePrivateFile(draft, content);
  if (!error && rename(draft.c_str(), file.c_str()) != 0) error = LastError();
  if (!error) return SyncFolder(file.parent_path());
  unlink(draft.c_str());
  return error;
}

std::error_code SyncFolder(const std::filesystem::path& folder) {
  const FileDescriptor opened(open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  return opened && fsync(opened.Number()) == 0 ? std::error_code() : LastError();
}

bool IsOnReadOnlyFileSystem(const std::filesystem::path& path) {
  std::filesystem::path there = path;
  while (access(there.c_str(), W_OK) != 0) {
    if (errno != ENOENT || !there.has_relative_path()) return errno == EROFS;
    there = there.parent_path();
  }
  return false;
}

bool LeadsTo(const std::filesystem::path& folder, const FileDescriptor& opened) {
  struct stat of_opened {};
  struct stat of_path {};
  return fstat(opened.Number(), &of_opened) == 0 && stat(folder.c_str(), &of_path) == 0 &&
         of_opened.st_ino == of_path.st_ino && of_opened.st_dev == of_path.st_dev;
}

std::error_code LockFolder(const std::filesystem::path& folder, FolderLock mode, FileDescriptor& lock) {
  const int operation =
      mode == FolderLock::kWait ? LOCK_EX : (LOCK_NB | (mode == FolderLock::kTry ? LOCK_EX : LOCK_SH));
  for (;;) {
    FileDescriptor opened(open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (!opened) return LastError();
    if (flock(opened.Number(), operation) != 0) {
      if (errno == EINTR) continue;
      return LastError();
    }
    if (!LeadsTo(folder, opened)) continue;
    lock = std::move(opened);
    return {};
  }
}

}  // namespace KORA::DistributedKv::Client
