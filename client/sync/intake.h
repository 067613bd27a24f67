// Takes what comes from the hub into the replica.
#pragma once

#include <functional>
#include <map>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

#include "sync/context.h"
#include "sync/lifetime.h"

namespace KORA::DistributedKv::Client::Sync {

// What the hub is known to hold of a key; an empty stamp: nothing.
using SeenOnHub = std::function<void(const std::string& key, const Stamp& stamp)>;

// The keys in the replica's log: what was changed here and is not known to be on the hub.
class PendingKeys {
 public:
  explicit PendingKeys(Replica& replica) : replica_(&replica) {}

  // Takes in what was logged since the last call.
  Status Refresh();
  // The same, and forgets what the log has been cut off by since.
  Status Follow();
  // Lets go of the keys of a log that has been cut off as a whole.
  void Trim();
  // Whether this write of the key is among them. One that came from the hub later is not.
  bool Has(const std::string& key, const Stamp& stamp) const {
    const auto found = logged_.find(key);
    return found != logged_.end() && found->second == stamp;
  }

 private:
  Status FindBegin(LogPosition& begin) const;

  Replica* replica_;
  LogPosition begin_ = 0;  // of the log, for Follow
  LogPosition read_ = 0;
  std::unordered_map<std::string, Stamp> logged_;  // by key; the last one
};

// How often something is asked for that the hub does not give in time, as over a line that is slow.
inline constexpr int kMaxAttempts = 6;

// One delivery at a time: the next may begin when the one before has finished. One thread.
class Intake {
 public:
  // kDone: merged, and `context.state` is as delivered. kStoreFailed: the replica failed; kUnavailable: the
  // hub did while large values were fetched. Nothing of the delivery was merged then.
  using Finished = std::function<void(HubResult)>;

  Intake(Context& context, SeenOnHub seen)
      : context_(context), seen_(std::move(seen)), pending_(context.replica) {}

  // `events` become records and markers of `next`, which is the state afterwards; `group` may hold removals
  // and keys to be logged already. Whose records are admitted is judged by `markers`, if they are given, else
  // by those of `next`.
  void Take(std::vector<HubEvent> events, Group group, SyncState next, const Markers* markers,
            Finished finished);
  // Forgets a delivery that has not finished.
  void Abandon() { lifetime_.Renew(); }

 private:
  struct Delivery {
    Group group;
    SyncState next;
    const Markers* markers = nullptr;
    Finished finished;
    std::map<std::string, HubRecord> inParts;  // by key; still to be fetched
    std::string value;                         // what was fetched of the first of them
    size_t parts = 0;                          // in how many
    int attempts = 0;                          // at the next one
  };

  void AddMarker(const std::string& device, const HubEvent& event);
  Status AddRecord(const std::string& key, const HubEvent& event);
  Status AddRemoval(const std::string& key);
  Status AddEvent(const HubEvent& event);
  std::string MarkerOf(const std::string& device) const;
  bool IsAdmitted(const Stamp& stamp) const;
  void FetchNext();
  void TakePart(const RangeAnswer& answer);
  void AddFetched();
  void Finish();
  void End(HubResult result);

  Context& context_;
  SeenOnHub seen_;
  Delivery delivery_;
  PendingKeys pending_;
  Lifetime lifetime_;
};

}  // namespace KORA::DistributedKv::Client::Sync
