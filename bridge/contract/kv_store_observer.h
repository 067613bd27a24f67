// Told of the changes of a store.
#pragma once

#include <memory>

#include "contract/change_notification.h"
#include "contract/kv_store_snapshot.h"

namespace KORA::DistributedKv {

// Called on threads of the client, which keeps the observer alive during a call, one call at a time for each
// store, in the order of the commits. A multi-version store calls the form with the snapshot and gives the
// snapshot away; a single store calls the other.
class KvStoreObserver {
 public:
  KvStoreObserver() = default;
  KvStoreObserver(const KvStoreObserver&) = delete;
  KvStoreObserver& operator=(const KvStoreObserver&) = delete;
  virtual ~KvStoreObserver() = default;

  virtual void OnChange(const ChangeNotification& notification,
                        std::unique_ptr<KvStoreSnapshot> snapshot) = 0;
  virtual void OnChange(const ChangeNotification& notification) = 0;
};

}  // namespace KORA::DistributedKv
