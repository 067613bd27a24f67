// Who wants to hear of devices that come and go.
#pragma once

#include <memory>
#include <mutex>
#include <set>
#include <utility>

#include "contract/device_status_change_listener.h"
#include "contract/status.h"

namespace KORA::DistributedKv::Client {

// Any thread may call. A device works alone so far, so nothing is told to them.
class DeviceListeners {
 public:
  using Listener = std::shared_ptr<DeviceStatusChangeListener>;

  // SUCCESS; INVALID_ARGUMENT for none; ERROR if it is among them, where it stays.
  Status Add(Listener listener) {
    if (listener == nullptr) return Status::INVALID_ARGUMENT;
    const std::lock_guard<std::mutex> lock(mutex_);
    return listeners_.insert(std::move(listener)).second ? Status::SUCCESS : Status::ERROR;
  }

  // SUCCESS; KEY_NOT_FOUND if it is not among them.
  Status Remove(const Listener& listener) {
    const std::lock_guard<std::mutex> lock(mutex_);
    return listeners_.erase(listener) == 1 ? Status::SUCCESS : Status::KEY_NOT_FOUND;
  }

 private:
  std::mutex mutex_;
  std::set<Listener> listeners_;
};

}  // namespace KORA::DistributedKv::Client
