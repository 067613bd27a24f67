// Does something now and then on a thread of its own.
#pragma once

#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <thread>
#include <utility>

namespace KORA::DistributedKv::Client {

// Ends with the object, which waits for an action that is under way.
class Periodic {
 public:
  Periodic(std::chrono::seconds interval, std::function<void()> action)
      : interval_(interval), action_(std::move(action)), thread_([this] { Run(); }) {}
  Periodic(const Periodic&) = delete;
  Periodic& operator=(const Periodic&) = delete;
  ~Periodic() {
    {
      const std::lock_guard<std::mutex> lock(mutex_);
      ended_ = true;
    }
    changed_.notify_all();
    thread_.join();
  }

 private:
  void Run() {
    std::unique_lock<std::mutex> lock(mutex_);
    while (!changed_.wait_for(lock, interval_, [this] { return ended_; })) {
      lock.unlock();
      action_();
      lock.lock();
    }
  }

  const std::chrono::seconds interval_;
  const std::function<void()> action_;
  std::mutex mutex_;
  std::condition_variable changed_;
  bool ended_ = false;
  std::thread thread_;
};

}  // namespace KORA::DistributedKv::Client
