#include "engine/log_room.h"

#include <utility>

namespace KORA::DistributedKv::Client {

namespace {

// RocksDB's log has 7 bytes for each piece of a record, and a record is in pieces of 32 KiB at most.
constexpr uint64_t kSlack = uint64_t{64} << 10;
constexpr uint64_t kStep = uint64_t{1} << 20;

}  // namespace

class LogFile : public rocksdb::FSWritableFileOwnerWrapper {
 public:
  LogFile(std::unique_ptr<rocksdb::FSWritableFile> file, LogRoom& room)
      : FSWritableFileOwnerWrapper(std::move(file)), room_(room) {}
  LogFile(const LogFile&) = delete;
  LogFile& operator=(const LogFile&) = delete;
  ~LogFile() override {
    const std::lock_guard<std::mutex> lock(room_.mutex_);
    if (room_.log_ == this) room_.log_ = nullptr;
  }

  rocksdb::IOStatus Append(const rocksdb::Slice& data, const rocksdb::IOOptions& options,
                           rocksdb::IODebugContext* debug) override {
    Advance(data.size());
    return FSWritableFileOwnerWrapper::Append(data, options, debug);
  }
  rocksdb::IOStatus Append(const rocksdb::Slice& data, const rocksdb::IOOptions& options,
                           const rocksdb::DataVerificationInfo& verification,
                           rocksdb::IODebugContext* debug) override {
    Advance(data.size());
    return FSWritableFileOwnerWrapper::Append(data, options, verification, debug);
  }

  // Under the room's mutex. Where the file system allocates nothing in advance, the write itself will tell.
  rocksdb::IOStatus Reserve(uint64_t bytes) {
    const uint64_t wanted = end_ + bytes + bytes / kShareOfHeaders + kSlack;
    if (wanted <= allocated_) return rocksdb::IOStatus::OK();
    rocksdb::IOStatus status =
        FSWritableFileOwnerWrapper::Allocate(end_, wanted - end_ + kStep, rocksdb::IOOptions(), nullptr);
    if (status.IsNoSpace()) return status;
    if (status.ok()) allocated_ = wanted + kStep;
    return rocksdb::IOStatus::OK();
  }

 private:
  static constexpr uint64_t kShareOfHeaders = 1000;

  void Advance(uint64_t bytes) {
    const std::lock_guard<std::mutex> lock(room_.mutex_);
    end_ += bytes;
  }

  LogRoom& room_;
  uint64_t end_ = 0;
  uint64_t allocated_ = 0;
};

rocksdb::IOStatus LogRoom::Reserve(uint64_t bytes) {
  const std::lock_guard<std::mutex> lock(mutex_);
  wanted_ = bytes;
  return log_ == nullptr ? rocksdb::IOStatus::OK() : log_->Reserve(bytes);
}

rocksdb::IOStatus LogRoom::Wrap(std::unique_ptr<rocksdb::FSWritableFile>* file) {
  auto log = std::make_unique<LogFile>(std::move(*file), *this);
  const std::lock_guard<std::mutex> lock(mutex_);
  rocksdb::IOStatus status = log->Reserve(wanted_);
  // A log without room is given up; the one before goes on.
  if (status.ok()) log_ = log.get();
  *file = std::move(log);
  return status;
}

}  // namespace KORA::DistributedKv::Client
