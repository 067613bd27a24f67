// A mutex for what takes no longer than falling asleep and being woken.
#pragma once

#include <mutex>
#include <thread>

namespace KORA::DistributedKv::Client {

// Who finds it taken tries again for some microseconds before it sleeps.
class SpinningMutex {
 public:
  void lock() {
    constexpr int kTries = 100;
    for (int i = 0; i < kTries; ++i) {
      if (mutex_.try_lock()) return;
      std::this_thread::yield();
    }
    mutex_.lock();
  }
  void unlock() { mutex_.unlock(); }

 private:
  std::mutex mutex_;
};

}  // namespace KORA::DistributedKv::Client
