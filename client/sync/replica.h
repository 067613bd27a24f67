// One store of this device as the synchronisation sees it.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "contract/status.h"
#include "sync/conflict.h"

namespace KORA::DistributedKv::Client::Sync {

// Where in the log of local changes. Grows with each entry; 0 is before the first.
using LogPosition = uint64_t;

// A record that was changed here, or that the hub has to be told of again.
struct LogEntry {
  LogPosition position = 0;
  std::string key;
  Stamp stamp;              // as it was then; the record may have changed since
  bool endsCommit = false;  // the last one of its commit
};

struct Held {
  std::string key;
  Stamp stamp;
  bool deleted = false;
};

// A record that the hub holds.
struct Candidate {
  std::string key;
  Content content;
  // Whether this device may take it. One that may not still shows what the hub lacks.
  bool admitted = true;
};

// A record that is to go without a trace: nobody needs its tombstone any more, or has it any more.
struct Removal {
  std::string key;
  Stamp stamp;
};

// What takes effect together.
struct Group {
  std::vector<Candidate> records;     // no key twice
  std::vector<Removal> removals;      // none of a key in `records`
  std::vector<std::string> requeued;  // to be logged as they are
  Version newest = 0;                 // the clock must come to this at least
  std::string state;                  // replaces what State answers
};

// Calls come from one thread, that of the synchronisation, while others may write to the store.
//
// The replica must keep these promises:
//   - A local commit and its log entries become durable together, and the entries follow the order of
//   commits.
//   - After a crash the replica is as it was at some moment before: whatever is lost, all that came later is
//     lost with it, the synchronisation's state included.
//   - A deleted key stays as a tombstone with its stamp until a Removal takes it.
//   - A local write has a greater version than every version that a Merge, seen by that writer, has brought.
class Replica {
 public:
  Replica() = default;
  Replica(const Replica&) = delete;
  Replica& operator=(const Replica&) = delete;
  virtual ~Replica() = default;

  // A version that is greater than all before, as for a local write, and is never answered again: not even
  // after a crash that takes everything else back. Nothing: that could not be made sure of.
  virtual std::optional<Version> NextVersion() = 0;
  // What the last Merge or Forget set; empty at first.
  virtual std::string State() = 0;

  // KEY_NOT_FOUND: not even a tombstone.
  virtual Status Read(const std::string& key, Content& content) = 0;
  // The same, but what has another stamp by now may come without its value.
  virtual Status ReadIf(const std::string& key, const Stamp& stamp, Content& content) = 0;
  // Records and tombstones whose keys are above `after` and not above `last`, in the order of their keys; an
  // empty `last` sets no bound.
  virtual Status Scan(const std::string& after, const std::string& last, size_t limit,
                      std::vector<Held>& held) = 0;
  // Tombstones of versions below `before` whose keys are above `after`, in the order of their keys.
  virtual Status Tombstones(Version before, const std::string& after, size_t limit,
                            std::vector<Held>& held) = 0;

  // The entries above `after`, in order.
  virtual Status Log(LogPosition after, size_t limit, std::vector<LogEntry>& entries) = 0;
  // The position of the newest entry, or the one that the log was cut off at.
  virtual LogPosition LogEnd() = 0;
  // Entries up to this one are on the hub, or have been overtaken. They are not asked for again. The state is
  // stored with that.
  virtual Status CutLog(LogPosition upTo, const std::string& state) = 0;

  // Whether observers have kept up, or have let the replica wait in vain. If not, to be asked again soon: a
  // Merge now could take changes from them that they were not told of yet.
  virtual bool HasRoom() = 0;
  // Atomically, under the lock that orders local writes, and durable at once or later:
  //   - judges each record against what is held (Judge): kTake stores it as it is, without a log entry, if it
  //     is admitted; kKeep logs the held record, as `requeued` does
  //   - removes what `removals` names, where the held record still has that stamp
  //   - logs the held records of the keys in `requeued`
  //   - moves the clock, stores the state.
  // What was taken is told to observers as one change for each writing device. A failure leaves everything as
  // it was.
  virtual Status Merge(const Group& group) = 0;

  // Atomically removes the records and tombstones that `device` wrote (empty: any device but this one),
  // without a log entry, and stores the state.
  virtual Status Forget(const std::string& device, const std::string& state) = 0;
};

}  // namespace KORA::DistributedKv::Client::Sync
