// The synchronisations of one store handle.
#pragma once

#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "contract/kv_store_sync_callback.h"
#include "contract/status.h"
#include "contract/types.h"

namespace KORA::DistributedKv::Client {

// Any thread may call. Each synchronisation that Start takes is completed exactly once, on the callback
// queue, through the callback that was registered when it began; also when that was taken back or the handle
// closed meanwhile. Without a callback nobody is told.
class SyncSession {
 public:
  // Replaces an earlier one. SUCCESS, or INVALID_ARGUMENT for none.
  Status Register(std::shared_ptr<KvStoreSyncCallback> callback);
  // SUCCESS, or STORE_NOT_SUBSCRIBE when none is registered.
  Status Unregister();

  // SUCCESS: taken; INVALID_ARGUMENT: no device, an empty identifier, an unknown mode or a negative delay.
  Status Start(const std::vector<std::string>& deviceIds, SyncMode mode, int32_t delayMs);

 private:
  std::mutex mutex_;
  std::shared_ptr<KvStoreSyncCallback> callback_;
};

}  // namespace KORA::DistributedKv::Client
