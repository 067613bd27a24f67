// Tells the observers of one store what was committed.
#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "common/limits.h"
#include "contract/kv_store_observer.h"
#include "contract/status.h"
#include "contract/types.h"
#include "notify/callback_queue.h"
#include "notify/death_notice.h"
#include "store/change.h"

namespace KORA::DistributedKv::Client {

// What may wait for slow observers of one store. A change that is larger by itself waits alone.
inline constexpr size_t kMaxWaitingEntries = 10'000;
inline constexpr size_t kMaxWaitingBytes = 8 * kMebibyte;
// How long a writer waits for room before the oldest change is dropped.
inline constexpr auto kWriterPatience = std::chrono::seconds(1);

// Where a change was made: on this device, or on another.
enum class Origin { kLocal, kRemote };

// Makes the snapshot that one more observer is given with a change; empty where observers are given none.
using SnapshotMaker = std::function<std::unique_ptr<KvStoreSnapshot>()>;

// Any thread may call. Observers are called on the callback queue, in the order of Publish. One call may
// still be running when its observer has been taken away.
class Publisher : public CallbackSource,
                  public Registrations,
                  public std::enable_shared_from_this<Publisher> {
 public:
  // Names in notifications this device, in log lines the store.
  Publisher(std::string deviceId, std::string storeName)
      : deviceId_(std::move(deviceId)), storeName_(std::move(storeName)) {}

  // An observer can be subscribed once. `owner` marks what DropOwned takes away.
  Status Subscribe(SubscribeType type, std::shared_ptr<KvStoreObserver> observer, const void* owner);
  Status Unsubscribe(SubscribeType type, const std::shared_ptr<KvStoreObserver>& observer);
  void DropOwned(const void* owner);
  void DropAll() override;

  // Whether anybody is to be told of changes from there.
  bool HasListeners(Origin origin) const { return (origin == Origin::kLocal ? local_ : remote_) != 0; }

  // Gives slow observers time to make room, unless they have let an earlier writer wait in vain since their
  // last call. Does not wait on the callback thread. Before the store's lock is taken: observers may want it.
  void AwaitRoom(Origin origin);

  // The same for one thread that can't wait: whether to go on. If not, to be asked again soon.
  bool HasRoom(Origin origin);

  // Takes the change of a commit; under the store's lock, which gives the order. `snapshots`, unless empty,
  // is asked at once for what stays with the change until it is told. Never fails: what finds no room and no
  // memory is dropped.
  void Publish(Change&& change, const std::function<SnapshotMaker()>& snapshots) noexcept;

  // The same for a change that is larger than what may wait. When its turn has come, `pieces` is called for
  // one piece after the other, each of which is told as a change; it answers whether there are more. It is
  // called on the callback queue, and not at all if nobody listens then.
  using Pieces = std::function<bool(Change& piece)>;
  void Publish(Pieces pieces, const std::function<SnapshotMaker()>& snapshots) noexcept;

  bool DeliverOne(const Invoker& invoke) override;

 private:
  struct Subscription {
    SubscribeType type;
    std::shared_ptr<KvStoreObserver> observer;
    const void* owner;
    uint64_t since;  // the number of the first change that it is told of
  };
  struct Waiting {
    uint64_t number = 0;
    size_t entries = 0;
    size_t bytes = 0;
    Origin origin = Origin::kLocal;
    std::optional<ChangeNotification> notification;  // nothing: the pieces make it
    Pieces pieces;
    SnapshotMaker snapshots;
  };
  using Observers = std::vector<std::shared_ptr<KvStoreObserver>>;

  bool IsFull() const { return waitingEntries_ >= kMaxWaitingEntries || waitingBytes_ >= kMaxWaitingBytes; }
  ChangeNotification Describe(Change&& change) const;
  void Enqueue(Waiting&& change);
  void Count(const Waiting& change);
  template <typename Make>
  void EnqueueWhatIsMade(Make make) noexcept;
  bool MakePiece(Waiting& change) const noexcept;
  static void Tell(KvStoreObserver& observer, const Waiting& change);
  Waiting TakeOldest();
  void WarnOfLost();
  Observers ObserversOf(const Waiting& change) const;
  template <typename Predicate>
  size_t DropIf(Predicate fits);

  const std::string deviceId_;
  const std::string storeName_;

  std::mutex mutex_;
  std::condition_variable roomMade_;
  std::vector<Subscription> subscriptions_;
  std::atomic<size_t> local_{0};  // observers of such changes
  std::atomic<size_t> remote_{0};
  std::deque<Waiting> waiting_;
  size_t waitingEntries_ = 0;
  size_t waitingBytes_ = 0;
  uint64_t nextNumber_ = 0;
  bool scheduled_ = false;
  bool stuck_ = false;  // a writer has waited in vain since the last delivery
  std::optional<std::chrono::steady_clock::time_point> asked_;  // for room, in vain so far
  uint64_t lost_ = 0;                                           // changes, since the last warning
  std::chrono::steady_clock::time_point warned_;
};

}  // namespace KORA::DistributedKv::Client
