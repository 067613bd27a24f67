#include "notify/callback_queue.h"

#include <thread>
#include <utility>

#include "common/guard.h"

namespace KORA::DistributedKv::Client {

namespace {

thread_local bool t_runs_callbacks = false;

void InvokeGuarded(const Callback& callback) {
  Guard([&callback] { callback(); });
}

}  // namespace

CallbackQueue& CallbackQueue::Instance() {
  static auto& instance = *new CallbackQueue();  // in use until the process has ended
  return instance;
}

void CallbackQueue::Schedule(std::shared_ptr<CallbackSource> source) {
  const std::lock_guard<std::mutex> lock(mutex_);
  if (!hosted_ && !stopped_) StartOwnThread();
  ready_.push_back(std::move(source));
  changed_.notify_all();
}

void CallbackQueue::StartOwnThread() {
  std::thread([this] { Run(InvokeGuarded); }).detach();
  hosted_ = ownThread_ = true;
}

bool CallbackQueue::Claim() {
  const std::lock_guard<std::mutex> lock(mutex_);
  return !std::exchange(hosted_, true);
}

void CallbackQueue::Run(const Invoker& invoke) {
  t_runs_callbacks = true;
  while (const std::shared_ptr<CallbackSource> source = Next()) {
    bool more = true;
    Guard([&] { more = source->DeliverOne(invoke); });
    const std::lock_guard<std::mutex> lock(mutex_);
    running_ = false;
    if (more) ready_.push_back(source);
    changed_.notify_all();
  }
}

// Empty: the queue has been stopped.
std::shared_ptr<CallbackSource> CallbackQueue::Next() {
  std::unique_lock<std::mutex> lock(mutex_);
  changed_.wait(lock, [this] { return stopped_ || !ready_.empty(); });
  if (stopped_) return nullptr;
  std::shared_ptr<CallbackSource> next = std::move(ready_.front());
  ready_.pop_front();
  running_ = true;
  return next;
}

bool CallbackQueue::OnCallbackThread() {
  return t_runs_callbacks;
}

void CallbackQueue::Stop(Deadline deadline) {
  std::unique_lock<std::mutex> lock(mutex_);
  stopped_ = true;
  changed_.notify_all();
  if (!ownThread_ || OnCallbackThread()) return;
  changed_.wait_until(lock, deadline, [this] { return !running_; });
}

}  // namespace KORA::DistributedKv::Client
