// A replica in memory, with a clock that may be wrong and a disk that may be behind.
#pragma once

#include <map>
#include <string>
#include <utility>
#include <vector>

#include "device_replica.h"

namespace KORA::DistributedKv::Client::Sync {

class SimReplica : public DeviceReplica {
 public:
  SimReplica(std::string device, WallClock clock) : device_(std::move(device)), clock_(std::move(clock)) {}

  Version Write(const std::vector<Change>& changes) override;
  void MakeDurable() override { durable_ = data_; }
  void Crash() override { data_ = durable_; }
  void SetBroken(bool broken) override { broken_ = broken; }
  void SetSlow(bool slow) override { slow_ = slow; }
  size_t LargestMerge() const { return largestMerge_; }  // bytes of values

  const std::map<std::string, Content>& Records() const { return data_.records; }

  std::optional<Version> NextVersion() override;
  std::string State() override { return data_.state; }
  Status Read(const std::string& key, Content& content) override;
  Status ReadIf(const std::string& key, const Stamp& stamp, Content& content) override;
  Status Scan(const std::string& after, const std::string& last, size_t limit,
              std::vector<Held>& held) override;
  Status Tombstones(Version before, const std::string& after, size_t limit, std::vector<Held>& held) override;
  Status Log(LogPosition after, size_t limit, std::vector<LogEntry>& entries) override;
  LogPosition LogEnd() override { return data_.logEnd; }
  Status CutLog(LogPosition upTo, const std::string& state) override;
  bool HasRoom() override { return !slow_; }
  Status Merge(const Group& group) override;
  Status Forget(const std::string& device, const std::string& state) override;

 private:
  struct Data {
    std::map<std::string, Content> records;
    std::map<LogPosition, LogEntry> log;
    LogPosition logEnd = 0;
    Version clock = 0;
    std::string state;
  };

  Version Tick();
  void LogRecord(const std::string& key, bool endsCommit);

  const std::string device_;
  WallClock clock_;
  Data data_;
  Data durable_;
  bool broken_ = false;
  bool slow_ = false;
  size_t largestMerge_ = 0;
};

}  // namespace KORA::DistributedKv::Client::Sync
