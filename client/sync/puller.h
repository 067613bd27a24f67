// Brings the replica into step with the hub, and keeps it there.
#pragma once

#include <deque>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "sync/comparison.h"
#include "sync/context.h"
#include "sync/intake.h"
#include "sync/lifetime.h"

namespace KORA::DistributedKv::Client::Sync {

// A session goes through these steps:
//   1. If the position is 0, the replica is compared with the hub; that gives a position.
//   2. A watch begins after the position.
//   3. Once the hub has taken the watch, the markers at the position show whether this is still the hub that
//   the
//      position belongs to. If not, or if the hub has forgotten the position: back to 1. Events wait until
//      then.
//   4. A fence: when all that the newest marker tells of has arrived, the replica is in step.
// When more events wait than may, as while large values are fetched, the watch ends; once they are taken, the
// session begins anew.
// The order of 2 and 3 matters: a hub that is restored between them would else go unnoticed.
class Puller : private WatchListener {
 public:
  class Owner {
   public:
    Owner() = default;
    Owner(const Owner&) = delete;
    Owner& operator=(const Owner&) = delete;
    virtual ~Owner() = default;

    // What the hub was seen to hold of a key (an empty stamp: nothing), before it is merged.
    virtual void OnSeen(const std::string& key, const Stamp& stamp) = 0;
    // The position has moved, or the replica has come into step.
    virtual void OnProgress() = 0;
    // The session begins anew, maybe with another history: what was known of revisions is void.
    virtual void OnRestart() = 0;
    // The session has ended, not by Stop.
    virtual void OnLost(HubResult reason) = 0;
  };

  Puller(Context& context, Owner& owner);

  void Start();
  void Stop();
  bool IsInStep() const { return step_ == Step::kInStep; }

  // Looks what the hub has by now; `reached` is called when the replica has it. Forgotten when the session
  // ends.
  void Fence(std::function<void()> reached);

  // The hub's revision of this device's marker, as far as it is known.
  Revision OwnMarker() const;

 private:
  enum class Step { kIdle, kComparing, kWatching, kVerified, kInStep };
  struct Goal {
    Revision revision = 0;  // to be reached
    Revision seen = 0;      // the hub's newest when the goal was set: nothing lies between the two
    std::function<void()> reached;
  };

  void OnStarted() override;
  void OnEvents(std::vector<HubEvent> events) override;
  void OnEnd(HubResult reason) override;

  void Compare();
  void StartWatch();
  void Verify(RangeAnswer answer);
  void ComeIntoStep();
  void SetGoal(RangeAnswer answer, Version acknowledged, std::function<void()> reached);
  void ReachGoals();
  void TakeOnNextTurn();
  void TakeOne();
  std::vector<HubEvent> TakeOut();
  void Persist();
  void AskMarkers(Revision revision, Hub::Then<RangeAnswer> then);
  void Restart();
  void BeginAnew();
  void Lose(HubResult reason);

  Context& context_;
  Owner& owner_;
  Intake intake_;
  Step step_ = Step::kIdle;
  Lifetime session_;
  std::unique_ptr<Comparison> comparison_;
  std::unique_ptr<Watch> watch_;
  std::deque<HubEvent> events_;
  size_t waiting_ = 0;   // their bytes
  bool taking_ = false;  // a delivery has not finished
  bool due_ = false;     // TakeOne comes on the next turn
  std::vector<Goal> goals_;
};

}  // namespace KORA::DistributedKv::Client::Sync
