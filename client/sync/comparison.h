// Compares a replica with the hub, key by key: what a device does that is new, that was away for so long that
// the hub has forgotten what it missed, or that finds a hub of another history.
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "sync/context.h"
#include "sync/intake.h"
#include "sync/lifetime.h"

namespace KORA::DistributedKv::Client::Sync {

// The records on the hub are judged as any others. What only the replica has, and has no mind to push, was on
// the hub once:
//   - in the same history it can have gone only as an ended tombstone: the record was deleted, and goes here
//   too
//   - what this device wrote before it was in step for the first time was never there, and is pushed
//   - in another history the hub has lost it, so it is pushed again; but if the device was away for longer
//   than
//     tombstones live, it may as well have been deleted since, and goes.
class Comparison {
 public:
  using Finished = Intake::Finished;

  Comparison(Context& context, Intake& intake)
      : context_(context), intake_(intake), pending_(context.replica) {}

  // kDone: the replica has what the hub had at the position that the state now has. Else nothing is lost; the
  // pages that were done stay merged.
  void Start(Finished finished);

 private:
  static constexpr size_t kMaxPage = 256;

  void TakeMarkers(RangeAnswer answer, Version acknowledged);
  void AskPage();
  void AskSmallerPage();
  void TakePage(RangeAnswer answer);
  void MergeRecords();
  void MergeSlice();
  void Merge(std::vector<HubEvent> records, Group group, std::function<void()> then);
  void AddAbsent(const std::vector<Held>& held, Group& group) const;
  bool WasNeverPushed(const Held& record) const;
  bool IsOnPage(const std::string& key) const;
  void Complete();
  void End(HubResult result);

  Context& context_;
  Intake& intake_;
  PendingKeys pending_;
  Lifetime lifetime_;
  Finished finished_;
  bool sameHistory_ = false;
  bool pushBack_ = false;  // what the hub lacks was lost
  Revision revision_ = 0;  // at which the hub is read
  Version begun_ = 0;      // when that was, by the replica's clock
  Markers markers_;
  size_t limit_ = kMaxPage;        // of entries on a page
  int attempts_ = 0;               // at the next page
  std::vector<std::string> page_;  // the callers' keys on the page, in order
  std::vector<HubEvent> records_;  // of the page, until they are taken
  bool more_ = false;              // whether pages follow this one
  std::string compared_;           // the caller's key up to which the replica was looked through
};

}  // namespace KORA::DistributedKv::Client::Sync
