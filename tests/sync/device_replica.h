// A device's replica as a simulation treats it.
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "sync/replica.h"

namespace KORA::DistributedKv::Client::Sync {

class DeviceReplica : public Replica {
 public:
  using Change = std::pair<std::string, std::optional<std::string>>;  // no value: deleted

  // A local commit; its version.
  virtual Version Write(const std::vector<Change>& changes) = 0;
  // What is done so far outlasts a crash.
  virtual void MakeDurable() = 0;
  // Everything since then is lost.
  virtual void Crash() = 0;
  // From now on merges fail, as with a full disk, the log can't be cut off, and there are no numbers.
  virtual void SetBroken(bool broken) = 0;
  // There is no room for what is to be told.
  virtual void SetSlow(bool slow) = 0;
};

// By the device's name and its clock, which is milliseconds of the time of day.
using WallClock = std::function<uint64_t()>;
using MakeReplica = std::function<std::unique_ptr<DeviceReplica>(const std::string& device, WallClock clock)>;

}  // namespace KORA::DistributedKv::Client::Sync
