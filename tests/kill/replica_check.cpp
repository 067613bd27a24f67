#include "replica_check.h"

#include <algorithm>
#include <limits>
#include <vector>

namespace KORA::DistributedKv {

namespace {

constexpr size_t kAll = std::numeric_limits<size_t>::max();

}  // namespace

uint64_t ReplicaCheck::CountCommits(Client::Store& store) const {
  std::unique_ptr<Client::StoreReplica> replica;
  std::vector<Client::Sync::LogEntry> entries;
  if (Client::StoreReplica::Open(store.shared_from_this(), replica) != Status::SUCCESS) return 0;
  replica->Log(checked_, kAll, entries);
  return static_cast<uint64_t>(
      std::count_if(entries.begin(), entries.end(), [](const auto& entry) { return entry.endsCommit; }));
}

std::string ReplicaCheck::Check(Client::Store& store, const std::map<std::string, std::string>& live,
                                const std::set<std::string>& touched, uint64_t commits) {
  std::unique_ptr<Client::StoreReplica> replica;
  if (Client::StoreReplica::Open(store.shared_from_this(), replica) != Status::SUCCESS)
    return "the store has not joined";
  if (replica->State() != state_) return "the state is that of another moment";
  std::string wrong = CheckHeld(*replica, live, touched);
  if (wrong.empty()) wrong = CheckLog(*replica, commits);
  checked_ = replica->LogEnd();
  state_ = std::to_string(checked_);
  if (replica->CutLog(checked_, state_) != Status::SUCCESS) return "the log could not be cut off";
  return wrong;
}

// A record or a tombstone for each key that was ever written, and nothing else.
std::string ReplicaCheck::CheckHeld(Client::StoreReplica& replica,
                                    const std::map<std::string, std::string>& live,
                                    const std::set<std::string>& touched) {
  std::vector<Client::Sync::Held> held;
  if (replica.Scan("", "", kAll, held) != Status::SUCCESS) return "the replica can't be read";
  for (const Client::Sync::Held& record : held) {
    if (record.deleted == (live.count(record.key) > 0)) return record.key + " is held as what it is not";
    if (touched.count(record.key) == 0) return record.key + " was never written";
  }
  return held.size() == touched.size() ? "" : "a tombstone is missing, or one too many";
}

// One entry a change, as it is held if it is the last of its key, and whole commits.
std::string ReplicaCheck::CheckLog(Client::StoreReplica& replica, uint64_t commits) const {
  std::vector<Client::Sync::LogEntry> entries;
  if (replica.Log(0, kAll, entries) != Status::SUCCESS) return "the log can't be read";
  std::map<std::string, Client::Sync::Stamp> last;
  Client::Sync::LogPosition position = checked_;
  uint64_t ended = 0;
  for (const Client::Sync::LogEntry& entry : entries) {
    if (entry.position != ++position) return "the log has a gap";
    ended += entry.endsCommit ? 1 : 0;
    last[entry.key] = entry.stamp;
  }
  if (position != replica.LogEnd()) return "the log's end is not that of its entries";
  if (!entries.empty() && !entries.back().endsCommit) return "half of a commit is logged";
  if (ended != commits)
    return std::to_string(ended) + " commits are logged instead of " + std::to_string(commits);
  for (const auto& [key, stamp] : last) {
    Client::Sync::Content content;
    if (replica.Read(key, content) != Status::SUCCESS || content.stamp != stamp)
      return key + " is not held as it was logged last";
  }
  return "";
}

}  // namespace KORA::DistributedKv
