// Keeps the hub from filling up with what nobody needs: ended tombstones, and parts of values that were never
// completed or have been replaced. Each device does so; who comes late finds nothing left to do.
#pragma once

#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "sync/context.h"
#include "sync/lifetime.h"
#include "sync/marked_writer.h"

namespace KORA::DistributedKv::Client::Sync {

// One round at a time, while the replica is in step. A failure ends the round; the next one begins anew, and
// what was done stays done.
// Parts come first: to drop them is all that a full hub allows.
class Upkeep {
 public:
  // Whether the round came to its end.
  using Finished = std::function<void(bool)>;

  Upkeep(Context& context, MarkedWriter& writer, Finished finished)
      : context_(context), writer_(writer), finished_(std::move(finished)) {}

  bool IsRunning() const { return running_; }
  // Begins a round, if none is under way. It ends within this call if the replica fails.
  void Run();
  // Without telling anybody.
  void Stop();

 private:
  void AskTombstones();
  void EndTombstones(const RangeAnswer& answer);
  void NextTombstones();
  void AskParts();
  void JudgeParts(RangeAnswer answer);
  bool IsNeeded(const Stamp& part, const HubEntry* entry) const;
  void DropParts(const std::vector<HubEntry>& parts, const RangeAnswer& records);
  void End(bool whole);

  Context& context_;
  MarkedWriter& writer_;
  Finished finished_;
  Lifetime lifetime_;
  bool running_ = false;
  Version now_ = 0;
  std::string lastTombstone_;  // the caller's key
  std::string nextPart_;       // the hub's key
};

}  // namespace KORA::DistributedKv::Client::Sync
