// Makes each file that RocksDB creates readable to this user alone, whatever the umask of the process.
#pragma once

#include <rocksdb/file_system.h>

#include <memory>
#include <string>

namespace KORA::DistributedKv::Client {

class PrivateFileSystem : public rocksdb::FileSystemWrapper {
 public:
  explicit PrivateFileSystem(const std::shared_ptr<rocksdb::FileSystem>& target)
      : FileSystemWrapper(target) {}

  const char* Name() const override { return "KoraPrivateFileSystem"; }

  rocksdb::IOStatus NewWritableFile(const std::string& name, const rocksdb::FileOptions& options,
                                    std::unique_ptr<rocksdb::FSWritableFile>* file,
                                    rocksdb::IODebugContext* debug) override;
  rocksdb::IOStatus ReopenWritableFile(const std::string& name, const rocksdb::FileOptions& options,
                                       std::unique_ptr<rocksdb::FSWritableFile>* file,
                                       rocksdb::IODebugContext* debug) override;
  rocksdb::IOStatus NewRandomRWFile(const std::string& name, const rocksdb::FileOptions& options,
                                    std::unique_ptr<rocksdb::FSRandomRWFile>* file,
                                    rocksdb::IODebugContext* debug) override;
  rocksdb::IOStatus CreateDir(const std::string& name, const rocksdb::IOOptions& options,
                              rocksdb::IODebugContext* debug) override;
  rocksdb::IOStatus CreateDirIfMissing(const std::string& name, const rocksdb::IOOptions& options,
                                       rocksdb::IODebugContext* debug) override;
  rocksdb::IOStatus LockFile(const std::string& name, const rocksdb::IOOptions& options,
                             rocksdb::FileLock** lock, rocksdb::IODebugContext* debug) override;
};

}  // namespace KORA::DistributedKv::Client
