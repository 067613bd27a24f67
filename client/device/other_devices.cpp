#include "device/other_devices.h"

#include "device/device_listeners.h"

namespace KORA::DistributedKv::Client {

OtherDevices& OtherDevices::Instance() {
  static auto& instance = *new OtherDevices();  // in use until the process has ended
  return instance;
}

void OtherDevices::Set(const DeviceInfo& device, bool online) {
  // Listeners hear in the order of what happened: so under the lock.
  const std::lock_guard<std::mutex> lock(mutex_);
  Known& known = devices_[device.deviceId];
  const bool turned = known.online != online;
  known = {device, online};
  if (turned || online) DeviceListeners::Instance().Tell(device, online, turned);
}

std::vector<DeviceInfo> OtherDevices::List(DeviceFilterStrategy strategy) const {
  const std::lock_guard<std::mutex> lock(mutex_);
  std::vector<DeviceInfo> devices;
  for (const auto& [identifier, known] : devices_) {
    if (known.online || strategy != DeviceFilterStrategy::FILTER) devices.push_back(known.device);
  }
  return devices;
}

}  // namespace KORA::DistributedKv::Client
