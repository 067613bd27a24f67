#include "cluster/worker.h"

#include <utility>

#include "common/guard.h"

namespace KORA::DistributedKv::Client::Cluster {

namespace {

using Clock = std::chrono::steady_clock;

Sync::Moment Now() {
  return static_cast<Sync::Moment>(
      std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now().time_since_epoch()).count());
}

Clock::time_point ToTime(Sync::Moment moment) {
  return Clock::time_point(std::chrono::milliseconds(moment));
}

}  // namespace

Worker::~Worker() {
  End([] {}, Deadline::max());
}

void Worker::Post(std::function<void()> function) {
  const std::lock_guard<std::mutex> lock(mutex_);
  if (ended_) return;
  functions_.push_back(std::move(function));
  changed_.notify_all();
}

void Worker::End(std::function<void()> last, Deadline deadline) {
  Post([this, last = std::move(last)] {
    Guard([&] { last(); });
    const std::lock_guard<std::mutex> lock(mutex_);
    ended_ = true;
    changed_.notify_all();
  });
  std::unique_lock<std::mutex> lock(mutex_);
  const bool ended = changed_.wait_until(lock, deadline, [this] { return ended_; });
  lock.unlock();
  if (ended && thread_.joinable()) thread_.join();
}

void Worker::Run() {
  while (AwaitWork()) {
    Guard([this] {
      timers_.Advance(Now());
      if (const std::function<void()> function = Take()) function();
    });
  }
}

// False: the end.
bool Worker::AwaitWork() {
  std::deque<std::function<void()>> dropped;  // end outside the lock
  std::unique_lock<std::mutex> lock(mutex_);
  const auto ready = [this] { return ended_ || !functions_.empty(); };
  if (const auto due = timers_.Next()) {
    changed_.wait_until(lock, ToTime(*due), ready);
  } else {
    changed_.wait(lock, ready);
  }
  if (ended_) dropped.swap(functions_);
  return !ended_;
}

std::function<void()> Worker::Take() {
  const std::lock_guard<std::mutex> lock(mutex_);
  if (functions_.empty()) return nullptr;
  std::function<void()> function = std::move(functions_.front());
  functions_.pop_front();
  return function;
}

}  // namespace KORA::DistributedKv::Client::Cluster
