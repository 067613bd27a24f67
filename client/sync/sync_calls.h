// What callers have asked to be synchronised, and what they are told.
#pragma once

#include <functional>
#include <list>
#include <map>
#include <string>
#include <vector>

#include "sync/hub.h"
#include "sync/lifetime.h"
#include "sync/replica.h"
#include "sync/timers.h"

namespace KORA::DistributedKv::Client::Sync {

enum class SyncMode {
  kPull,  // take what the hub has
  kPush,  // bring to the hub what was changed here; what the hub has is taken first, to tell which write wins
  kPushPull,  // both
};

enum class SyncResult {
  kDone,
  kUnknownDevice,
  kOffline,      // the device takes and brings its part when it comes back
  kUnavailable,  // the hub could not be reached
  kFull,         // the hub takes no writes for want of space
  kDenied,       // the hub refuses this device
  kTimeout,
  kClosed,       // the store was closed meanwhile
  kStoreFailed,  // the store on this device could not be read or written
};
const char* NameOf(SyncResult result);
// Why a call fails when the hub has failed.
SyncResult ToResult(HubResult reason);

using SyncResults = std::map<std::string, SyncResult>;
// Called exactly once for each call, with each device that was asked for.
using SyncDone = std::function<void(const SyncResults&)>;

// Calls wait out their delay; the first that has done so takes along all that wait, and they are served
// together.
class SyncCalls {
 public:
  class Owner {
   public:
    Owner() = default;
    Owner(const Owner&) = delete;
    Owner& operator=(const Owner&) = delete;
    virtual ~Owner() = default;

    // There is something to be done now.
    virtual void OnCallsDue() = 0;
    // The results of a call whose work had this end.
    virtual SyncResults Answer(const std::vector<std::string>& devices, SyncResult end) const = 0;
  };

  SyncCalls(Timers& timers, Owner& owner) : timers_(timers), owner_(owner) {}

  // Times in milliseconds; the time-out counts from the end of the delay.
  void Add(std::vector<std::string> devices, SyncMode mode, Moment delay, Moment timeout, SyncDone done);

  bool AreRunning() const;  // some are due and not answered
  bool WantPush() const;    // one of them wants to push

  // The running calls that no fence was set for, from now on having one; `logEnd` is what they wait to be
  // pushed.
  std::vector<uint64_t> TakeUnfenced(LogPosition logEnd);
  // What the fence of these calls stood for has been taken.
  void OnFence(const std::vector<uint64_t>& calls);
  // The log was pushed up to here.
  void OnPushed(LogPosition pushed);
  // A new session begins: fences that were set are void.
  void OnRestart();
  // The session has failed. Calls are given up after a few of these, or when trying again is no use.
  void OnLost(HubResult reason);
  // The hub refuses what is to be pushed, or the store can't tell what is.
  void OnPushFailed(HubResult reason);
  void Close();

 private:
  struct Call {
    uint64_t number = 0;
    std::vector<std::string> devices;
    SyncMode mode = SyncMode::kPushPull;
    Moment timeout = 0;
    SyncDone done;
    bool running = false;
    bool fenced = false;
    bool pulled = false;
    LogPosition goal = 0;
    int losses = 0;
  };

  void StartAll();
  template <typename Is>
  void EndThose(Is is, SyncResult end);

  Timers& timers_;
  Owner& owner_;
  Lifetime lifetime_;
  std::list<Call> calls_;
  uint64_t lastNumber_ = 0;
};

}  // namespace KORA::DistributedKv::Client::Sync
