// Synchronises one store with the hub, and through it with the same store of other devices.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "sync/context.h"
#include "sync/directory.h"
#include "sync/lifetime.h"
#include "sync/marked_writer.h"
#include "sync/puller.h"
#include "sync/pusher.h"
#include "sync/sync_calls.h"
#include "sync/upkeep.h"

namespace KORA::DistributedKv::Client::Sync {

// All calls, the hub's answers and the timers come on one thread. What the constructor takes must outlive
// this, and this must outlive all calls that it makes.
class StoreSync : private Puller::Owner, private SyncCalls::Owner {
 public:
  StoreSync(Hub& hub, Replica& replica, Timers& timers, const Directory& directory,
            const StoreSyncOptions& options);

  // Once, before all others. DB_ERROR: the replica's state is damaged; nothing is synchronised then.
  Status Start();
  // Local changes were logged.
  void OnCommit();
  // From now on without being asked.
  void GoContinuous();
  // `done` is called exactly once, never within this call; after Close at once. Each device counts once,
  // however often it is named.
  void Sync(const std::vector<std::string>& devices, SyncMode mode, Moment delay, Moment timeout,
            SyncDone done);
  // Removes here what the device (empty: each but this one) wrote. What it had written up to now is not taken
  // again; what it writes from now on is. This device's own identifier is INVALID_ARGUMENT.
  Status RemoveDeviceData(const std::string& device);
  void SetRules(AdmissionRules rules);
  // Answers what is outstanding. Nothing happens afterwards.
  void Close();

  bool IsInStep() const { return puller_.IsInStep(); }

 private:
  void OnSeen(const std::string& key, const Stamp& stamp) override { pusher_.OnSeen(key, stamp); }
  void OnProgress() override;
  void OnRestart() override;
  void OnLost(HubResult reason) override;
  void OnCallsDue() override;
  SyncResults Answer(const std::vector<std::string>& devices, SyncResult end) const override;
  SyncResult AnswerFor(const std::string& device, SyncResult end) const;

  bool IsWanted() const {
    return !closed_ && (context_.options.continuous || calls_.AreRunning() || upkeep_.IsRunning());
  }
  void Connect();
  void Disconnect();
  void Reconnect(Moment pause);
  void Work();
  void OnPushEnd(HubResult result);
  void OnUpkeepEnd(bool whole);
  void ScheduleFence();
  void ScheduleUpkeep(Moment pause);

  Context context_;
  const Directory& directory_;
  Lifetime lifetime_;
  Lifetime connection_;
  bool started_ = false;
  bool closed_ = false;
  bool connecting_ = false;  // a session runs, or will after a pause
  bool upkeepDue_ = true;    // until a round has come to its end
  Moment backoff_ = 0;
  Puller puller_;
  MarkedWriter writer_;
  Pusher pusher_;
  Upkeep upkeep_;
  SyncCalls calls_;
};

// What RemoveDeviceData does to the replica and the state that goes with it; by itself for a store that
// nobody synchronises.
Status ForgetDevice(Replica& replica, SyncState& state, const std::string& self, const std::string& device);

}  // namespace KORA::DistributedKv::Client::Sync
