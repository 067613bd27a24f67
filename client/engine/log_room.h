// Room on the disk for what is about to be written to the log.
//
// RocksDB can't use a log again that it failed to write to, and ends the process where it was built with
// assertions, as Debian builds it. So room is allocated first, and a full disk is met before RocksDB knows of
// the write.
#pragma once

#include <rocksdb/file_system.h>

#include <memory>
#include <mutex>

namespace KORA::DistributedKv::Client {

class LogFile;

// The room of one database's log. Any thread may call.
class LogRoom {
 public:
  // Makes room for a write of so many bytes, in the present log or in one that takes its place.
  rocksdb::IOStatus Reserve(uint64_t bytes);

  // Takes a new log, which is to have room for the write that is under way.
  rocksdb::IOStatus Wrap(std::unique_ptr<rocksdb::FSWritableFile>* file);

 private:
  friend class LogFile;

  std::mutex mutex_;  // guards all below, and where the log ends
  LogFile* log_ = nullptr;
  uint64_t wanted_ = 0;
};

}  // namespace KORA::DistributedKv::Client
