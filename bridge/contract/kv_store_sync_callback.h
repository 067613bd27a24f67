// Told how a synchronisation ended.
#pragma once

#include <map>
#include <string>

#include "contract/status.h"

namespace KORA::DistributedKv {

// Called on a thread of the client, which keeps the object alive during the call.
class KvStoreSyncCallback {
 public:
  KvStoreSyncCallback() = default;
  KvStoreSyncCallback(const KvStoreSyncCallback&) = delete;
  KvStoreSyncCallback& operator=(const KvStoreSyncCallback&) = delete;
  virtual ~KvStoreSyncCallback() = default;

  // The status of each device that was asked for, by device identifier.
  virtual void SyncCompleted(const std::map<std::string, Status>& results) = 0;
};

}  // namespace KORA::DistributedKv
