// The synchronisations of one store handle.
#pragma once

#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "cluster/sync_completions.h"
#include "contract/kv_store_sync_callback.h"
#include "contract/status.h"
#include "contract/types.h"
#include "store/store_lease.h"

namespace KORA::DistributedKv::Client::Cluster {

// Any thread may call. Each call of Start is completed exactly once, whatever it returns: on the callback
// queue, through the callback that was registered when it began, with each device that was named; also when
// that was taken back or the handle closed meanwhile. Without a callback nobody is told.
class SyncSession {
 public:
  explicit SyncSession(std::string application) : application_(std::move(application)) {}

  // Replaces an earlier one. SUCCESS, or INVALID_ARGUMENT for none.
  Status Register(std::shared_ptr<KvStoreSyncCallback> callback);
  // SUCCESS, or STORE_NOT_SUBSCRIBE when none is registered.
  Status Unregister();

  // Has the lease's store synchronised. SUCCESS: taken; INVALID_ARGUMENT: no device, an empty identifier, an
  // unknown mode or a negative delay; or as StoreLease::Call.
  Status Start(const StoreLease& lease, const std::vector<std::string>& deviceIds, SyncMode mode,
               int32_t delayMs);

 private:
  // For a call that begins now on this thread.
  SyncCaller Caller();

  const std::string application_;
  std::mutex mutex_;
  std::shared_ptr<KvStoreSyncCallback> callback_;
};

}  // namespace KORA::DistributedKv::Client::Cluster
