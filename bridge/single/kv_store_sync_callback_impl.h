// Carries the end of a synchronisation to the Java sync callback.
#pragma once

#include <jni.h>

#include <map>
#include <string>

#include "contract/kv_store_sync_callback.h"
#include "jni/global_ref_slot.h"

namespace KORA::DistributedKv {

// The Java sync callback, one for the process: registering on any store replaces it, and the reference that
// was there before is never deleted. Lives until the process ends, whatever still wants to complete.
GlobalRefSlot& globalSyncCallback();

class KvStoreSyncCallbackImpl : public KvStoreSyncCallback {
 public:
  void SyncCompleted(const std::map<std::string, Status>& results) override;
};

}  // namespace KORA::DistributedKv
