#include "notifier.h"

#include <thread>
#include <utility>

namespace OwnClient {

// Never destroyed, and its thread never joined: at the process's exit the thread may be inside a call to Java
// that does not come back, and joining it would hang the exit.
Notifier& Notifier::Instance() {
  static auto* const notifier = new Notifier;
  return *notifier;
}

void Notifier::Post(std::function<void()> task) {
  const std::lock_guard lock(mutex_);
  if (!started_) {
    std::thread([this] { Run(); }).detach();
    started_ = true;
  }
  tasks_.push(std::move(task));
  posted_.notify_one();
}

void Notifier::Run() {
  for (;;) {
    std::unique_lock lock(mutex_);
    posted_.wait(lock, [this] { return !tasks_.empty(); });
    const auto task = std::move(tasks_.front());
    tasks_.pop();
    lock.unlock();
    task();
  }
}

}  // namespace OwnClient
