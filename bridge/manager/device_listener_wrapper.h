// Tells a Java callback of devices that come and go.
#pragma once

#include <jni.h>

#include "contract/device_status_change_listener.h"

namespace KORA::DistributedKv {

// Holds a global reference of its own to the callback, from construction to destruction. The last owner may
// be any thread: the store client's too.
class DeviceListenerWrapper : public DeviceStatusChangeListener {
 public:
  DeviceListenerWrapper(JNIEnv* env, jobject callback, DeviceFilterStrategy strategy);
  DeviceListenerWrapper(const DeviceListenerWrapper&) = delete;
  DeviceListenerWrapper& operator=(const DeviceListenerWrapper&) = delete;
  ~DeviceListenerWrapper() override;

  void OnDeviceChanged(const DeviceInfo& device, const DeviceChangeType& type) const override;
  DeviceFilterStrategy GetFilterStrategy() const override { return strategy_; }

 private:
  void CallOnChanged(const DeviceInfo& device, DeviceChangeType type) const;

  jobject callback_;
  DeviceFilterStrategy strategy_;
};

}  // namespace KORA::DistributedKv
