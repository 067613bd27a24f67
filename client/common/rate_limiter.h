// Keeps operations below a rate: a token bucket that holds the operations of one second.
#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>

namespace KORA::DistributedKv::Client {

inline constexpr uint64_t kMaxRate = 1'000'000;  // operations per second

// Any thread may call; no thread waits for another.
class RateLimiter {
 public:
  // Nanoseconds, from any fixed point in time.
  using Source = int64_t (*)();

  // `perSecond` is at most kMaxRate; 0: no limit.
  explicit RateLimiter(uint64_t perSecond, Source nanoseconds = SteadyNanoseconds)
      : cost_(perSecond == 0 ? 0 : kSecond / static_cast<int64_t>(perSecond)),
        capacity_(cost_ * static_cast<int64_t>(perSecond)),
        nanoseconds_(nanoseconds),
        spent_(cost_ == 0 ? 0 : nanoseconds_() - capacity_) {}

  // Whether one more operation may begin; it counts then.
  bool Take() { return cost_ == 0 || TakeToken(); }

 private:
  static constexpr int64_t kSecond = 1'000'000'000;

  static int64_t SteadyNanoseconds() {
    return std::chrono::steady_clock::now().time_since_epoch() / std::chrono::nanoseconds(1);
  }

  // Each operation spends a piece of the time that has passed, and what is older than a full bucket is lost.
  bool TakeToken() {
    const int64_t now = nanoseconds_();
    int64_t spent = spent_.load(std::memory_order_relaxed);
    for (;;) {
      const int64_t next = (spent < now - capacity_ ? now - capacity_ : spent) + cost_;
      if (next > now) return false;
      if (spent_.compare_exchange_weak(spent, next, std::memory_order_relaxed)) return true;
    }
  }

  const int64_t cost_;      // nanoseconds of one operation
  const int64_t capacity_;  // nanoseconds
  const Source nanoseconds_;
  std::atomic<int64_t> spent_;  // the time up to which tokens are used up
};

}  // namespace KORA::DistributedKv::Client
