// What a store that takes part in synchronisation keeps beside its records, compared with what was done to
// it.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <set>
#include <string>

#include "store/store_replica.h"

namespace KORA::DistributedKv {

// Each check cuts the log off, and expects to find it so the next time.
class ReplicaCheck {
 public:
  // How many commits were logged since the last check.
  uint64_t CountCommits(Client::Store& store) const;
  // Empty: all is well. `live`: the records by key; `touched`: the keys of all commits so far; `commits`: how
  // many there were since the last check.
  std::string Check(Client::Store& store, const std::map<std::string, std::string>& live,
                    const std::set<std::string>& touched, uint64_t commits);

 private:
  static std::string CheckHeld(Client::StoreReplica& replica, const std::map<std::string, std::string>& live,
                               const std::set<std::string>& touched);
  std::string CheckLog(Client::StoreReplica& replica, uint64_t commits) const;

  Client::Sync::LogPosition checked_ = 0;
  std::string state_;
};

}  // namespace KORA::DistributedKv
