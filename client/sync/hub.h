// The hub as the synchronisation sees it: a linearizable, ordered key-value service with revisions, as etcd
// is one. What lies behind may be etcd or a simulation of it.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace KORA::DistributedKv::Client::Sync {

// Counts the hub's transactions. Each one that changes something has a greater revision than all before it;
// 0 stands for "before the first". A hub that was restored from a backup goes back to an older revision and
// counts on from there.
using Revision = int64_t;
using LeaseId = int64_t;

enum class HubResult {
  kDone,
  kRefused,      // a condition did not hold: nothing was applied
  kUnavailable,  // certainly not applied, or only read: may be tried again
  kUnknown,      // a write that may have been applied, or may yet be
  kCompacted,    // the hub has forgotten the revision asked for
  kFuture,       // the hub has not come to the revision asked for: its history went back
  kFull,         // the hub takes no writes for want of space
  kDenied,       // credentials or rights
  kStoreFailed,  // no answer of a hub: the store on this device could not be read or written
};
const char* NameOf(HubResult result);

inline constexpr size_t kMaxOperations = 128;  // conditions of a transaction; operations too
inline constexpr size_t kMaxTransactionBytes = size_t{1}
                                               << 20;  // the hub takes 1.5 MiB, its own framing included

struct HubEntry {
  std::string key;
  std::string value;
  Revision modified = 0;  // of the transaction that wrote the entry last
};

// The entries from `begin` to before `end`, in the order of their keys.
struct RangeRequest {
  std::string begin;
  std::string end;
  Revision revision = 0;  // as the hub was at that revision; 0: as it is now
  size_t limit = 0;  // entries; 0: as many as the hub likes. It may answer with fewer, and sets `more` then
  bool keysOnly = false;  // values are left empty
};

struct RangeAnswer {
  HubResult result = HubResult::kUnavailable;  // kDone, kUnavailable, kCompacted, kFuture or kDenied
  Revision revision = 0;                       // the hub's newest at the time of reading
  std::vector<HubEntry> entries;
  bool more = false;
};

struct Condition {
  enum class Kind { kEqual, kAtMost };
  std::string key;
  Kind kind = Kind::kEqual;
  Revision modified = 0;  // an absent entry counts as modified at 0
};

struct Operation {
  std::string key;
  std::optional<std::string> value;  // nothing: the entry is deleted
  LeaseId lease = 0;                 // the entry ends with it; 0: with none
};

// All conditions hold and all operations take effect at one revision, or nothing happens. No key twice.
struct Transaction {
  std::vector<Condition> conditions;
  std::vector<Operation> operations;
};

struct TransactionAnswer {
  HubResult result = HubResult::kUnavailable;
  Revision revision = 0;           // of the transaction, when it is done
  std::vector<Revision> modified;  // when it is refused: of each condition's entry, as it is now
};

struct HubEvent {
  std::string key;
  std::optional<std::string> value;  // nothing: the entry was deleted, or its lease ran out
  Revision revision = 0;
};

class WatchListener {
 public:
  WatchListener() = default;
  WatchListener(const WatchListener&) = delete;
  WatchListener& operator=(const WatchListener&) = delete;
  virtual ~WatchListener() = default;

  // The hub has taken the watch. From here on nothing is missing, unless OnEnd says so.
  virtual void OnStarted() = 0;
  // In the order of revisions; those of one revision together. What was delivered may come again.
  virtual void OnEvents(std::vector<HubEvent> events) = 0;
  // Once, as the last. A hub that is restored ends all watches.
  virtual void OnEnd(HubResult reason) = 0;
};

// Its end cancels the watch: the listener hears no more. It may end while the listener is being told.
class Watch {
 public:
  Watch() = default;
  Watch(const Watch&) = delete;
  Watch& operator=(const Watch&) = delete;
  virtual ~Watch() = default;
};

// Requests return at once; the answer comes later, on the thread that runs the synchronisation, never within
// the request itself. Each request is answered exactly once, within the hub's own time-out; answers may come
// in another order than the requests.
class Hub {
 public:
  template <typename Answer>
  using Then = std::function<void(Answer)>;
  struct LeaseAnswer {
    HubResult result = HubResult::kUnavailable;
    LeaseId lease = 0;
    uint64_t remaining = 0;  // milliseconds; 0: the lease has ended
  };

  Hub() = default;
  Hub(const Hub&) = delete;
  Hub& operator=(const Hub&) = delete;
  virtual ~Hub() = default;

  virtual void Range(const RangeRequest& request, Then<RangeAnswer> then) = 0;
  // The entries of these keys that are there, as asked for in order and at one revision. At most
  // kMaxOperations keys.
  virtual void Get(const std::vector<std::string>& keys, Then<RangeAnswer> then) = 0;
  virtual void Commit(Transaction transaction, Then<TransactionAnswer> then) = 0;
  // From the revision `from` on. The listener must outlive the watch.
  virtual std::unique_ptr<Watch> StartWatch(const std::string& begin, const std::string& end, Revision from,
                                            WatchListener& listener) = 0;

  virtual void GrantLease(uint64_t milliseconds, Then<LeaseAnswer> then) = 0;
  virtual void KeepLease(LeaseId lease, Then<LeaseAnswer> then) = 0;
  // Deletes what is bound to the lease, as soon as the hub hears of it. Not answered.
  virtual void RevokeLease(LeaseId lease) = 0;
};

// All entries from `begin` to before `end`, as of one revision: that of the first page for 0. The hub must
// outlive it.
void RangeWhole(Hub& hub, const RangeRequest& request, Hub::Then<RangeAnswer> then);

}  // namespace KORA::DistributedKv::Client::Sync
