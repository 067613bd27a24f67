// Keeps a database that has failed away from its folder.
//
// Another database may have that folder, or its name, by now. So a failed one must neither go on with its
// work in the background nor clean up when it is closed: it can change no names any more. What it has open it
// may still write to.
#pragma once

#include <rocksdb/file_system.h>

#include <memory>
#include <string>

#include "engine/health.h"

namespace KORA::DistributedKv::Client {

class FencedFileSystem : public rocksdb::FileSystemWrapper {
 public:
  // `health` is the database's.
  FencedFileSystem(const std::shared_ptr<rocksdb::FileSystem>& target, std::shared_ptr<const Health> health)
      : FileSystemWrapper(target), health_(std::move(health)) {}

  const char* Name() const override { return "KoraFencedFileSystem"; }

  rocksdb::IOStatus NewWritableFile(const std::string& name, const rocksdb::FileOptions& options,
                                    std::unique_ptr<rocksdb::FSWritableFile>* file,
                                    rocksdb::IODebugContext* debug) override;
  rocksdb::IOStatus ReopenWritableFile(const std::string& name, const rocksdb::FileOptions& options,
                                       std::unique_ptr<rocksdb::FSWritableFile>* file,
                                       rocksdb::IODebugContext* debug) override;
  rocksdb::IOStatus ReuseWritableFile(const std::string& name, const std::string& former,
                                      const rocksdb::FileOptions& options,
                                      std::unique_ptr<rocksdb::FSWritableFile>* file,
                                      rocksdb::IODebugContext* debug) override;
  rocksdb::IOStatus NewRandomRWFile(const std::string& name, const rocksdb::FileOptions& options,
                                    std::unique_ptr<rocksdb::FSRandomRWFile>* file,
                                    rocksdb::IODebugContext* debug) override;
  rocksdb::IOStatus DeleteFile(const std::string& name, const rocksdb::IOOptions& options,
                               rocksdb::IODebugContext* debug) override;
  rocksdb::IOStatus Truncate(const std::string& name, size_t size, const rocksdb::IOOptions& options,
                             rocksdb::IODebugContext* debug) override;
  rocksdb::IOStatus RenameFile(const std::string& from, const std::string& to,
                               const rocksdb::IOOptions& options, rocksdb::IODebugContext* debug) override;
  rocksdb::IOStatus LinkFile(const std::string& from, const std::string& to,
                             const rocksdb::IOOptions& options, rocksdb::IODebugContext* debug) override;

 private:
  template <typename Change>
  rocksdb::IOStatus Pass(Change change) const;

  const std::shared_ptr<const Health> health_;
};

}  // namespace KORA::DistributedKv::Client
