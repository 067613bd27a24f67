#include "engine/fenced_file_system.h"

namespace KORA::DistributedKv::Client {

using rocksdb::FileSystemWrapper;
using rocksdb::IOStatus;

template <typename Change>
IOStatus FencedFileSystem::Pass(Change change) const {
  if (!health_->Dead()) return change();
  return IOStatus::IOError("the database has failed", "");
}

IOStatus FencedFileSystem::NewWritableFile(const std::string& name, const rocksdb::FileOptions& options,
                                           std::unique_ptr<rocksdb::FSWritableFile>* file,
                                           rocksdb::IODebugContext* debug) {
  return Pass([&] { return FileSystemWrapper::NewWritableFile(name, options, file, debug); });
}

IOStatus FencedFileSystem::ReopenWritableFile(const std::string& name, const rocksdb::FileOptions& options,
                                              std::unique_ptr<rocksdb::FSWritableFile>* file,
                                              rocksdb::IODebugContext* debug) {
  return Pass([&] { return FileSystemWrapper::ReopenWritableFile(name, options, file, debug); });
}

IOStatus FencedFileSystem::ReuseWritableFile(const std::string& name, const std::string& former,
                                             const rocksdb::FileOptions& options,
                                             std::unique_ptr<rocksdb::FSWritableFile>* file,
                                             rocksdb::IODebugContext* debug) {
  return Pass([&] { return FileSystemWrapper::ReuseWritableFile(name, former, options, file, debug); });
}

IOStatus FencedFileSystem::NewRandomRWFile(const std::string& name, const rocksdb::FileOptions& options,
                                           std::unique_ptr<rocksdb::FSRandomRWFile>* file,
                                           rocksdb::IODebugContext* debug) {
  return Pass([&] { return FileSystemWrapper::NewRandomRWFile(name, options, file, debug); });
}

IOStatus FencedFileSystem::DeleteFile(const std::string& name, const rocksdb::IOOptions& options,
                                      rocksdb::IODebugContext* debug) {
  return Pass([&] { return FileSystemWrapper::DeleteFile(name, options, debug); });
}

IOStatus FencedFileSystem::Truncate(const std::string& name, size_t size, const rocksdb::IOOptions& options,
                                    rocksdb::IODebugContext* debug) {
  return Pass([&] { return FileSystemWrapper::Truncate(name, size, options, debug); });
}

IOStatus FencedFileSystem::RenameFile(const std::string& from, const std::string& to,
                                      const rocksdb::IOOptions& options, rocksdb::IODebugContext* debug) {
  return Pass([&] { return FileSystemWrapper::RenameFile(from, to, options, debug); });
}

IOStatus FencedFileSystem::LinkFile(const std::string& from, const std::string& to,
                                    const rocksdb::IOOptions& options, rocksdb::IODebugContext* debug) {
  return Pass([&] { return FileSystemWrapper::LinkFile(from, to, options, debug); });
}

}  // namespace KORA::DistributedKv::Client
