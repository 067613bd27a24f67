// Tells how synchronisations ended.
#pragma once

#include <deque>
#include <map>
#include <memory>
#include <mutex>
#include <string>

#include "cluster/sync_number.h"
#include "contract/kv_store_sync_callback.h"
#include "notify/callback_queue.h"

namespace KORA::DistributedKv::Client::Cluster {

// By device identifier.
using SyncResults = std::map<std::string, Status>;

// Who is told of the end of a call, and as which.
struct SyncCaller {
  std::shared_ptr<KvStoreSyncCallback> callback;  // none: nobody is told
  SyncNumber number = 0;
};

// Of all stores of the process. Any thread may call.
class SyncCompletions : public CallbackSource, public std::enable_shared_from_this<SyncCompletions> {
 public:
  static SyncCompletions& Instance();

  // Has the caller's callback called once, after the completions that were posted before. What it
  // throws leaves the caller as it is.
  void Post(SyncCaller&& caller, SyncResults results);

  bool DeliverOne(const Invoker& invoke) override;

 private:
  struct Completion {
    SyncCaller caller;
    SyncResults results;
  };

  std::mutex mutex_;
  std::deque<Completion> waiting_;
  bool scheduled_ = false;
};

}  // namespace KORA::DistributedKv::Client::Cluster
