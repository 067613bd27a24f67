#include "sim_replica.h"

#include <algorithm>

namespace KORA::DistributedKv::Client::Sync {

std::optional<Version> SimReplica::NextVersion() {
  if (broken_) return std::nullopt;
  return durable_.clock = Tick();
}

Version SimReplica::Tick() {
  data_.clock = std::max(data_.clock + 1, clock_() << kVersionCounterBits);
  return data_.clock;
}

Version SimReplica::Write(const std::vector<Change>& changes) {
  const Version version = Tick();
  for (const auto& [key, value] : changes) {
    data_.records[key] = {{version, device_}, !value, value.value_or("")};
    LogRecord(key, key == changes.back().first);
  }
  return version;
}

void SimReplica::LogRecord(const std::string& key, bool endsCommit) {
  const LogPosition position = ++data_.logEnd;
  data_.log[position] = {position, key, data_.records.at(key).stamp, endsCommit};
}

Status SimReplica::Read(const std::string& key, Content& content) {
  const auto found = data_.records.find(key);
  if (found == data_.records.end()) return Status::KEY_NOT_FOUND;
  content = found->second;
  return Status::SUCCESS;
}

Status SimReplica::ReadIf(const std::string& key, const Stamp& stamp, Content& content) {
  const Status status = Read(key, content);
  if (status == Status::SUCCESS && content.stamp != stamp) content.value.clear();
  return status;
}

Status SimReplica::Scan(const std::string& after, const std::string& last, size_t limit,
                        std::vector<Held>& held) {
  for (auto record = data_.records.upper_bound(after); record != data_.records.end() && held.size() < limit;
       ++record) {
    if (!last.empty() && record->first > last) break;
    held.push_back({record->first, record->second.stamp, record->second.deleted});
  }
  return Status::SUCCESS;
}

Status SimReplica::Tombstones(Version before, const std::string& after, size_t limit,
                              std::vector<Held>& held) {
  for (auto record = data_.records.upper_bound(after); record != data_.records.end() && held.size() < limit;
       ++record) {
    const Content& content = record->second;
    if (content.deleted && content.stamp.version < before)
      held.push_back({record->first, content.stamp, true});
  }
  return Status::SUCCESS;
}

Status SimReplica::Log(LogPosition after, size_t limit, std::vector<LogEntry>& entries) {
  for (auto entry = data_.log.upper_bound(after); entry != data_.log.end() && entries.size() < limit;
       ++entry) {
    entries.push_back(entry->second);
  }
  return Status::SUCCESS;
}

Status SimReplica::CutLog(LogPosition upTo, const std::string& state) {
  if (broken_) return Status::DB_ERROR;
  data_.state = state;
  data_.log.erase(data_.log.begin(), data_.log.upper_bound(upTo));
  return Status::SUCCESS;
}

Status SimReplica::Merge(const Group& group) {
  if (broken_) return Status::DB_ERROR;
  size_t bytes = 0;
  for (const Candidate& candidate : group.records) bytes += candidate.content.value.size();
  largestMerge_ = std::max(largestMerge_, bytes);
  for (const Candidate& candidate : group.records) {
    const auto held = data_.records.find(candidate.key);
    const Verdict verdict =
        held == data_.records.end() ? Verdict::kTake : Judge(held->second, candidate.content);
    if (verdict == Verdict::kTake && candidate.admitted) data_.records[candidate.key] = candidate.content;
    if (verdict == Verdict::kKeep) LogRecord(candidate.key, true);
  }
  for (const Removal& removal : group.removals) {
    const auto held = data_.records.find(removal.key);
    if (held != data_.records.end() && held->second.stamp == removal.stamp) data_.records.erase(held);
  }
  for (const std::string& key : group.requeued) {
    if (data_.records.count(key) > 0) LogRecord(key, true);
  }
  data_.clock = std::max(data_.clock, group.newest);
  data_.state = group.state;
  return Status::SUCCESS;
}

Status SimReplica::Forget(const std::string& device, const std::string& state) {
  for (auto record = data_.records.begin(); record != data_.records.end();) {
    record = record->second.stamp.device == device ? data_.records.erase(record) : std::next(record);
  }
  data_.state = state;
  return Status::SUCCESS;
}

}  // namespace KORA::DistributedKv::Client::Sync
