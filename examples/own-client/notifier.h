// Tells observers of commits, on a thread of the client's own.
#pragma once

#include <atomic>
#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <queue>

#include "contract/kv_store_observer.h"
#include "contract/types.h"

namespace OwnClient {

// What a store knows about one observer. Shared with the queue, so that a notification that waits there is
// dropped once the subscription has ended.
struct Subscription {
  Subscription(std::shared_ptr<KORA::DistributedKv::KvStoreObserver> subscriber, const void* handle)
      : observer(std::move(subscriber)), owner(handle) {}

  const std::shared_ptr<KORA::DistributedKv::KvStoreObserver> observer;
  const void* const owner;  // the store object through which it was made, and with which it ends
  std::atomic<bool> active{true};
};

// One thread for the process, started with the first task, runs tasks in the order in which they were posted:
// that gives every store the order of its commits. The queue has no bound.
class Notifier {
 public:
  static Notifier& Instance();

  void Post(std::function<void()> task);

 private:
  Notifier() = default;
  void Run();

  std::mutex mutex_;
  std::condition_variable posted_;
  std::queue<std::function<void()>> tasks_;
  bool started_ = false;
};

}  // namespace OwnClient
