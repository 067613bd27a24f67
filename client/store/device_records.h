// Which records of a store came from which device.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "contract/blob.h"
#include "contract/status.h"
#include "engine/engine.h"

namespace KORA::DistributedKv::Client {

// Borrows both.
class DeviceRecords {
 public:
  // Names the store in log lines.
  DeviceRecords(const View& view, const std::string& storeId) : view_(view), storeId_(storeId) {}

  // Adds the callers' keys of the records that the device wrote. It begins at the engine key `from` and looks
  // at a slice of the store; `from` is then where to go on, or empty at the end. SUCCESS or DB_ERROR.
  Status TakeKeys(uint32_t device, std::string& from, std::vector<Key>& keys) const;

 private:
  const View& view_;
  const std::string& storeId_;
};

}  // namespace KORA::DistributedKv::Client
