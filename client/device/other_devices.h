// The other devices, as far as this process has heard of them.
#pragma once

#include <map>
#include <mutex>
#include <string>
#include <vector>

#include "contract/types.h"

namespace KORA::DistributedKv::Client {

// Any thread may call. Nothing is forgotten while the process runs.
class OtherDevices {
 public:
  static OtherDevices& Instance();

  // The device has come, has gone, or goes by another name or type. Listeners hear of what is new.
  void Set(const DeviceInfo& device, bool online);

  // In the order of their identifiers. FILTER: those that are online; else those that have gone, too.
  std::vector<DeviceInfo> List(DeviceFilterStrategy strategy) const;

 private:
  struct Known {
    DeviceInfo device;
    bool online = false;
  };

  mutable std::mutex mutex_;
  std::map<std::string, Known> devices_;  // by identifier
};

}  // namespace KORA::DistributedKv::Client
