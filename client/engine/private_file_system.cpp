#include "engine/private_file_system.h"

#include <sys/stat.h>

#include <cerrno>
#include <string_view>
#include <system_error>

namespace KORA::DistributedKv::Client {

namespace {

// The folder around the file keeps others out until the mode is set.
rocksdb::IOStatus MakePrivate(const std::string& name, rocksdb::IOStatus created,
                              mode_t mode = S_IRUSR | S_IWUSR) {
  if (!created.ok() || chmod(name.c_str(), mode) == 0) return created;
  return rocksdb::IOStatus::IOError("chmod " + name, std::generic_category().message(errno));
}

}  // namespace

rocksdb::IOStatus PrivateFileSystem::NewWritableFile(const std::string& name,
                                                     const rocksdb::FileOptions& options,
                                                     std::unique_ptr<rocksdb::FSWritableFile>* file,
                                                     rocksdb::IODebugContext* debug) {
  rocksdb::IOStatus status =
      MakePrivate(name, FileSystemWrapper::NewWritableFile(name, options, file, debug));
  constexpr std::string_view kLogExtension = ".log";
  const bool is_log = name.size() > kLogExtension.size() &&
                      name.compare(name.size() - kLogExtension.size(), std::string::npos, kLogExtension) == 0;
  return status.ok() && is_log && room_ != nullptr ? room_->Wrap(file) : status;
}

rocksdb::IOStatus PrivateFileSystem::ReopenWritableFile(const std::string& name,
                                                        const rocksdb::FileOptions& options,
                                                        std::unique_ptr<rocksdb::FSWritableFile>* file,
                                                        rocksdb::IODebugContext* debug) {
  return MakePrivate(name, FileSystemWrapper::ReopenWritableFile(name, options, file, debug));
}

rocksdb::IOStatus PrivateFileSystem::NewRandomRWFile(const std::string& name,
                                                     const rocksdb::FileOptions& options,
                                                     std::unique_ptr<rocksdb::FSRandomRWFile>* file,
                                                     rocksdb::IODebugContext* debug) {
  return MakePrivate(name, FileSystemWrapper::NewRandomRWFile(name, options, file, debug));
}

rocksdb::IOStatus PrivateFileSystem::CreateDir(const std::string& name, const rocksdb::IOOptions& options,
                                               rocksdb::IODebugContext* debug) {
  return MakePrivate(name, FileSystemWrapper::CreateDir(name, options, debug), S_IRWXU);
}

rocksdb::IOStatus PrivateFileSystem::CreateDirIfMissing(const std::string& name,
                                                        const rocksdb::IOOptions& options,
                                                        rocksdb::IODebugContext* debug) {
  return MakePrivate(name, FileSystemWrapper::CreateDirIfMissing(name, options, debug), S_IRWXU);
}

rocksdb::IOStatus PrivateFileSystem::LockFile(const std::string& /*name*/,
                                              const rocksdb::IOOptions& /*options*/, rocksdb::FileLock** lock,
                                              rocksdb::IODebugContext* /*debug*/) {
  *lock = nullptr;
  return rocksdb::IOStatus::OK();
}

rocksdb::IOStatus PrivateFileSystem::UnlockFile(rocksdb::FileLock* /*lock*/,
                                                const rocksdb::IOOptions& /*options*/,
                                                rocksdb::IODebugContext* /*debug*/) {
  return rocksdb::IOStatus::OK();
}

}  // namespace KORA::DistributedKv::Client
