// What the parts of one store's synchronisation share.
#pragma once

#include <string>

#include "sync/admission.h"
#include "sync/hub.h"
#include "sync/replica.h"
#include "sync/state.h"
#include "sync/timers.h"

namespace KORA::DistributedKv::Client::Sync {

// All times in milliseconds.
struct StoreSyncOptions {
  std::string root;    // of the store's keys on the hub; ends with '/'
  std::string device;  // this one
  AdmissionRules rules;
  bool continuous = false;  // push after commits and take what others push, without being asked
  // For how long a tombstone stays on the hub at least. A device that is away for longer may have to be
  // compared as a whole.
  Moment tombstoneLife = Moment{30} * 24 * 3600 * 1000;
  // By how much the clocks of devices may be wrong, taken together, before tombstones end too early.
  Moment clockError = Moment{6} * 3600 * 1000;
  Moment upkeepEvery = Moment{6} * 3600 * 1000;  // ended tombstones and abandoned parts are looked for
  Moment upkeepPause = Moment{15} * 60 * 1000;   // after a round that failed
  size_t scanAtOnce = 1024;                      // entries of the log that are looked through in a turn
  Moment fenceEvery = 60'000;                    // whether anything was missed is looked at
  Moment stallTime = 10'000;                     // for how long what a fence found may be outstanding
  size_t maxWaiting = size_t{16} << 20;          // bytes of the hub's events that may wait to be taken
  Moment firstBackoff = 100;
  Moment lastBackoff = 5'000;
};

struct Context {
  Hub& hub;
  Replica& replica;
  Timers& timers;
  StoreSyncOptions options;
  StoreKeys keys;
  SyncState state;  // as the replica has it
};

inline Version ToVersion(Moment milliseconds) {
  return milliseconds << kVersionCounterBits;
}
inline Version AgoOf(Version now, Moment milliseconds) {
  const Version distance = ToVersion(milliseconds);
  return now > distance ? now - distance : 0;
}

}  // namespace KORA::DistributedKv::Client::Sync
