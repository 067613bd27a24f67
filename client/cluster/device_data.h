// What came to a store from other devices, and is not wanted any more.
#pragma once

#include <memory>
#include <string>

#include "store/store.h"

namespace KORA::DistributedKv::Client::Cluster {

// Removes from the store what the device wrote; of a store that takes part in synchronisation, without a
// trace for others, and so that it does not come again until the device writes it anew. An empty identifier
// stands for each device but this one. That of this device has its records deleted like any others. SUCCESS,
// READ_ONLY, DB_ERROR.
Status RemoveDeviceData(Store& store, const std::string& device);

// The same, for a store that has joined and that nobody synchronises meanwhile. `self`: this device.
Status ForgetDevice(const std::shared_ptr<Store>& store, const std::string& self, const std::string& device);

}  // namespace KORA::DistributedKv::Client::Cluster
