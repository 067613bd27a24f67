// Told of devices that come and go.
#pragma once

#include "contract/types.h"

namespace KORA::DistributedKv {

class DeviceStatusChangeListener {
 public:
  DeviceStatusChangeListener() = default;
  DeviceStatusChangeListener(const DeviceStatusChangeListener&) = delete;
  DeviceStatusChangeListener& operator=(const DeviceStatusChangeListener&) = delete;
  virtual ~DeviceStatusChangeListener() = default;

  // Called on a thread of the client, which keeps the object alive during the call.
  virtual void OnDeviceChanged(const DeviceInfo& device, const DeviceChangeType& type) const = 0;
  // Which devices the listener wants to hear of.
  virtual DeviceFilterStrategy GetFilterStrategy() const = 0;
};

}  // namespace KORA::DistributedKv
