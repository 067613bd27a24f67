#include "cluster/sync_completions.h"

#include <utility>

namespace KORA::DistributedKv::Client::Cluster {

SyncCompletions& SyncCompletions::Instance() {
  static auto& instance =
      *new auto(std::make_shared<SyncCompletions>());  // in use until the process has ended
  return *instance;
}

void SyncCompletions::Post(SyncCaller&& caller, SyncResults results) {
  const std::lock_guard<std::mutex> lock(mutex_);
  waiting_.emplace_back();
  try {
    if (!scheduled_) CallbackQueue::Instance().Schedule(shared_from_this());
  } catch (...) {
    waiting_.pop_back();  // the caller hears of it
    throw;
  }
  scheduled_ = true;
  waiting_.back() = {std::move(caller), std::move(results)};
}

bool SyncCompletions::DeliverOne(const Invoker& invoke) {
  Completion oldest;  // ends outside the lock: a callback's end is code of the program
  std::unique_lock<std::mutex> lock(mutex_);
  oldest = std::move(waiting_.front());
  waiting_.pop_front();
  lock.unlock();
  invoke([&oldest] {
    const SyncCompletionScope scope(oldest.caller.number);
    oldest.caller.callback->SyncCompleted(oldest.results);
  });
  lock.lock();
  return scheduled_ = !waiting_.empty();
}

}  // namespace KORA::DistributedKv::Client::Cluster
