// Makes each file that RocksDB creates readable to this user alone, whatever the umask of the process, and
// gives logs their room.
#pragma once

#include <rocksdb/file_system.h>

#include <memory>
#include <string>

#include "engine/log_room.h"

namespace KORA::DistributedKv::Client {

class PrivateFileSystem : public rocksdb::FileSystemWrapper {
 public:
  // Logs get their room from `room`, if there is one; it outlives them.
  PrivateFileSystem(const std::shared_ptr<rocksdb::FileSystem>& target, LogRoom* room)
      : FileSystemWrapper(target), room_(room) {}

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
  // The folder is locked already, and by its inode: so one that was moved away does not keep its name.
  rocksdb::IOStatus LockFile(const std::string& name, const rocksdb::IOOptions& options,
                             rocksdb::FileLock** lock, rocksdb::IODebugContext* debug) override;
  rocksdb::IOStatus UnlockFile(rocksdb::FileLock* lock, const rocksdb::IOOptions& options,
                               rocksdb::IODebugContext* debug) override;

 private:
  LogRoom* const room_;
};

}  // namespace KORA::DistributedKv::Client
