// The simulation's time: what happens, in order.
#pragma once

#include <functional>
#include <map>

#include "sync/timers.h"

namespace KORA::DistributedKv::Client::Sync {

class Schedule {
 public:
  Moment Now() const { return now_; }
  void After(Moment delay, std::function<void()> run) { events_.emplace(now_ + delay, std::move(run)); }
  Moment Next() const { return events_.empty() ? ~Moment{0} : events_.begin()->first; }
  // To the moment `now`, which is not after Next; runs at most one event.
  void Step(Moment now) {
    now_ = now;
    if (Next() > now) return;
    const std::function<void()> run = std::move(events_.begin()->second);
    events_.erase(events_.begin());
    run();
  }

 private:
  Moment now_ = 0;
  std::multimap<Moment, std::function<void()>> events_;
};

}  // namespace KORA::DistributedKv::Client::Sync
