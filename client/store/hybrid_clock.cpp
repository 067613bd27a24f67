#include "store/hybrid_clock.h"

#include <algorithm>
#include <chrono>

namespace KORA::DistributedKv::Client {

uint64_t SystemMilliseconds() {
  const auto now = std::chrono::system_clock::now().time_since_epoch();
  return static_cast<uint64_t>(
      std::max<int64_t>(std::chrono::duration_cast<std::chrono::milliseconds>(now).count(), 0));
}

Version HybridClock::Next() {
  // A counter that is full runs over into the milliseconds.
  last_ = std::max(last_ + 1, milliseconds_() << kVersionCounterBits);
  return last_;
}

}  // namespace KORA::DistributedKv::Client
