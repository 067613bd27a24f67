// A replica in memory, with a clock that may be wrong and a disk that may be behind.
#pragma once

#include <functional>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "sync/replica.h"

namespace KORA::DistributedKv::Client::Sync {

class SimReplica : public Replica {
 public:
  using WallClock = std::function<uint64_t()>;  // milliseconds
  using Change = std::pair<std::string, std::optional<std::string>>;

  SimReplica(std::string device, WallClock clock) : device_(std::move(device)), clock_(std::move(clock)) {}

  // A local commit; its version.
  Version Write(const std::vector<Change>& changes);
  // What is done so far outlasts a crash.
  void MakeDurable() { durable_ = data_; }
  // Everything since then is lost.
  void Crash() { data_ = durable_; }
  // Merges fail from now on, as with a full disk.
  void SetBroken(bool broken) { broken_ = broken; }

  const std::map<std::string, Content>& Records() const { return data_.records; }
  size_t Commits() const { return data_.commits; }  // so far, those that are lost not counted
  // Whether a change of the key is logged; its stamp.
  const Stamp* Logged(const std::string& key) const;

  Version NextVersion() override;
  std::string State() override { return data_.state; }
  Status Read(const std::string& key, Content& content) override;
  Status Scan(const std::string& after, const std::string& last, size_t limit,
              std::vector<Held>& held) override;
  Status Tombstones(Version before, const std::string& after, size_t limit, std::vector<Held>& held) override;
  Status Log(LogPosition after, size_t limit, std::vector<LogEntry>& entries) override;
  LogPosition LogEnd() override { return data_.logEnd; }
  Status CutLog(LogPosition upTo, const std::string& state) override;
  Status Merge(const Group& group) override;
  Status Forget(const std::string& device, const std::string& state) override;

 private:
  struct Data {
    std::map<std::string, Content> records;
    std::map<LogPosition, LogEntry> log;
    LogPosition logEnd = 0;
    Version clock = 0;
    size_t commits = 0;
    std::string state;
  };

  void LogRecord(const std::string& key, bool endsCommit);

  const std::string device_;
  WallClock clock_;
  Data data_;
  Data durable_;
  bool broken_ = false;
};

}  // namespace KORA::DistributedKv::Client::Sync
