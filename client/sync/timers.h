// What is to be done later, by a clock that whoever runs the synchronisation moves.
#pragma once

#include <cstdint>
#include <functional>
#include <iterator>
#include <map>
#include <optional>
#include <utility>

namespace KORA::DistributedKv::Client::Sync {

// Milliseconds of a clock that is never set: not the time of day.
using Moment = uint64_t;

// One thread.
class Timers {
 public:
  Moment Now() const { return now_; }
  void After(Moment milliseconds, std::function<void()> run) {
    waiting_.emplace(now_ + milliseconds, std::move(run));
  }

  // When Advance has something to do next.
  std::optional<Moment> Next() const {
    return waiting_.empty() ? std::nullopt : std::optional(waiting_.begin()->first);
  }

  // Runs what is due. What that adds waits for the next call, even if it is due at once: so work that goes on
  // step by step keeps nobody else out.
  void Advance(Moment now) {
    now_ = now;
    for (auto due = std::distance(waiting_.begin(), waiting_.upper_bound(now_)); due > 0; --due) {
      const std::function<void()> run = std::move(waiting_.begin()->second);
      waiting_.erase(waiting_.begin());
      run();
    }
  }

 private:
  Moment now_ = 0;
  std::multimap<Moment, std::function<void()>> waiting_;
};

}  // namespace KORA::DistributedKv::Client::Sync
