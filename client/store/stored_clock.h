// The clock of a store, which never goes back over a restart.
#pragma once

#include <utility>

#include "contract/status.h"
#include "engine/engine.h"
#include "store/hybrid_clock.h"

namespace KORA::DistributedKv::Client {

// The engine holds a bound that no version of the store exceeds; it is written about once a second, ahead of
// the versions, not with each record. One thread at a time.
class StoredClock {
 public:
  explicit StoredClock(HybridClock::Source milliseconds) : clock_(0, std::move(milliseconds)) {}

  // SUCCESS; RECOVER_FAILED: the bound is damaged; DB_ERROR, also for one of another format. A bound that was
  // never stored is 0.
  Status Load(const View& view);

  Version Next() { return clock_.Next(); }
  void Advance(Version seen) { clock_.Advance(seen); }
  bool IsBeyondBound() const { return clock_.Last() > bound_; }
  // Whether not even a loss of power brings the versions given so far back.
  bool IsKept() const { return clock_.Last() <= kept_; }
  // All that was committed is on the disk.
  void OnSynced() { kept_ = bound_; }
  // Commits the batch, and the bound with it where the versions have come up with it.
  Status Commit(Batch& batch);

 private:
  HybridClock clock_;
  Version bound_ = 0;  // as the engine has it
  Version kept_ = 0;   // as the disk has it
};

}  // namespace KORA::DistributedKv::Client
