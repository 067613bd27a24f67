// Whether the hub can be reached.
#pragma once

#include <chrono>
#include <condition_variable>
#include <mutex>

#include "sync/lifetime.h"
#include "sync/timers.h"

namespace KORA::DistributedKv::Client::Cluster {

// Tells the death recipients of a hub that was reached and has then been out of reach for long: once for each
// time. One that was never reached is not missed.
class Contact {
 public:
  // 0: nobody is told.
  explicit Contact(std::chrono::milliseconds deathAfter)
      : deathAfter_(static_cast<Sync::Moment>(deathAfter.count())) {}

  // On the worker.
  void Take(bool reached, Sync::Timers& timers);

  bool IsKnown() const { return known_; }

  // Waits until the first Take, no longer than that. Any thread.
  void AwaitFirst(std::chrono::milliseconds atMost);

 private:
  const Sync::Moment deathAfter_;
  bool reached_ = false;  // now
  Sync::Lifetime loss_;   // of a time that the hub is out of reach
  std::mutex mutex_;
  std::condition_variable changed_;
  bool known_ = false;  // written by the worker
};

}  // namespace KORA::DistributedKv::Client::Cluster
