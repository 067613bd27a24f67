// Versions of records: a hybrid logical clock.
#pragma once

#include <algorithm>
#include <cstdint>
#include <functional>
#include <utility>

namespace KORA::DistributedKv::Client {

// The upper 48 bits are milliseconds since 1970 UTC, the lower 16 a counter. A later version is a greater
// number.
using Version = uint64_t;

inline constexpr int kVersionCounterBits = 16;

// Milliseconds since 1970 UTC, as the system's clock has them.
uint64_t SystemMilliseconds();

// Follows the system's clock, but never goes back: not when that clock is set back, and not over a restart,
// if it starts from the last version of the run before. One thread at a time.
class HybridClock {
 public:
  using Source = std::function<uint64_t()>;

  explicit HybridClock(Version last, Source milliseconds = SystemMilliseconds)
      : last_(last), milliseconds_(std::move(milliseconds)) {}

  // Greater than all before.
  Version Next();
  // What comes next is greater than this.
  void Advance(Version seen) { last_ = std::max(last_, seen); }
  Version Last() const { return last_; }

 private:
  Version last_;
  Source milliseconds_;
};

}  // namespace KORA::DistributedKv::Client
