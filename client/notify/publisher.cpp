#include "notify/publisher.h"

#include <algorithm>
#include <optional>
#include <utility>

#include "common/guard.h"
#include "common/take_if.h"

namespace KORA::DistributedKv::Client {

namespace {

// A change in pieces counts as so many entries while it waits: it holds a snapshot of the engine.
constexpr size_t kPiecesShare = kMaxWaitingEntries / 16;

bool IsKnown(SubscribeType type) {
  return type == SubscribeType::LOCAL || type == SubscribeType::REMOTE || type == SubscribeType::ALL;
}

bool Hears(SubscribeType type, Origin origin) {
  return type == SubscribeType::ALL ||
         type == (origin == Origin::kLocal ? SubscribeType::LOCAL : SubscribeType::REMOTE);
}

}  // namespace

Status Publisher::Subscribe(SubscribeType type, std::shared_ptr<KvStoreObserver> observer,
                            const void* owner) {
  if (!IsKnown(type) || observer == nullptr) return Status::INVALID_ARGUMENT;
  const std::lock_guard<std::mutex> lock(mutex_);
  const bool known = std::any_of(subscriptions_.begin(), subscriptions_.end(),
                                 [&](const Subscription& other) { return other.observer == observer; });
  if (known) return Status::STORE_ALREADY_SUBSCRIBE;
  subscriptions_.push_back({type, std::move(observer), owner, nextNumber_});
  if (Hears(type, Origin::kLocal)) ++local_;
  if (Hears(type, Origin::kRemote)) ++remote_;
  return Status::SUCCESS;
}

Status Publisher::Unsubscribe(SubscribeType type, const std::shared_ptr<KvStoreObserver>& observer) {
  if (!IsKnown(type) || observer == nullptr) return Status::INVALID_ARGUMENT;
  const size_t dropped = DropIf([&](const Subscription& other) { return other.observer == observer; });
  return dropped == 0 ? Status::STORE_NOT_SUBSCRIBE : Status::SUCCESS;
}

void Publisher::DropOwned(const void* owner) {
  DropIf([owner](const Subscription& subscription) { return subscription.owner == owner; });
}

void Publisher::DropAll() {
  DropIf([](const Subscription& /*any*/) { return true; });
}

template <typename Predicate>
size_t Publisher::DropIf(Predicate fits) {
  std::vector<Subscription> dropped;  // ends outside the lock: an observer's end is code of the program
  const std::lock_guard<std::mutex> lock(mutex_);
  dropped = TakeIf(subscriptions_, fits);
  for (const Subscription& gone : dropped) {
    if (Hears(gone.type, Origin::kLocal)) --local_;
    if (Hears(gone.type, Origin::kRemote)) --remote_;
  }
  return dropped.size();
}

void Publisher::AwaitRoom(Origin origin) {
  if (!HasListeners(origin) || CallbackQueue::OnCallbackThread()) return;
  std::unique_lock<std::mutex> lock(mutex_);
  if (roomMade_.wait_for(lock, kWriterPatience, [this] { return stuck_ || !IsFull(); })) return;
  stuck_ = true;
  roomMade_.notify_all();
}

bool Publisher::HasRoom(Origin origin) {
  if (!HasListeners(origin)) return true;
  const std::lock_guard<std::mutex> lock(mutex_);
  const auto now = std::chrono::steady_clock::now();
  const bool full = !stuck_ && IsFull();
  if (full && now - asked_.value_or(now) < kWriterPatience) {
    if (!asked_) asked_ = now;
    return false;
  }
  asked_.reset();
  if (!full) return true;
  stuck_ = true;
  roomMade_.notify_all();
  return true;
}

void Publisher::Publish(Change&& change, const std::function<SnapshotMaker()>& snapshots) noexcept {
  EnqueueWhatIsMade([&] {
    const size_t entries = change.Entries();
    const size_t bytes = change.bytes;
    const Origin origin = change.maker ? Origin::kRemote : Origin::kLocal;
    return Waiting{
        0, entries, bytes, origin, Describe(std::move(change)), nullptr, snapshots ? snapshots() : nullptr};
  });
}

void Publisher::Publish(Pieces pieces, const std::function<SnapshotMaker()>& snapshots) noexcept {
  EnqueueWhatIsMade([&] {
    return Waiting{0,
                   kPiecesShare,
                   0,
                   Origin::kLocal,
                   std::nullopt,
                   std::move(pieces),
                   snapshots ? snapshots() : nullptr};
  });
}

template <typename Make>
void Publisher::EnqueueWhatIsMade(Make make) noexcept {
  const Status status = Guard([&] { Enqueue(make()); });
  if (status == Status::SUCCESS) return;
  const std::lock_guard<std::mutex> lock(mutex_);
  ++lost_;
}

ChangeNotification Publisher::Describe(Change&& change) const {
  return {std::move(change.inserted), std::move(change.updated), std::move(change.deleted),
          change.maker.value_or(deviceId_)};
}

void Publisher::Enqueue(Waiting&& change) {
  const std::lock_guard<std::mutex> lock(mutex_);
  while (!waiting_.empty() && IsFull()) {
    TakeOldest();
    ++lost_;
  }
  constexpr auto kWarningInterval = std::chrono::seconds(1);
  if (std::chrono::steady_clock::now() - warned_ >= kWarningInterval) WarnOfLost();
  change.number = nextNumber_++;
  Count(change);
  waiting_.push_back(std::move(change));
  if (scheduled_) return;
  CallbackQueue::Instance().Schedule(shared_from_this());
  scheduled_ = true;
}

void Publisher::Count(const Waiting& change) {
  waitingEntries_ += change.entries;
  waitingBytes_ += change.bytes;
}

Publisher::Waiting Publisher::TakeOldest() {
  Waiting oldest = std::move(waiting_.front());
  waiting_.pop_front();
  waitingEntries_ -= oldest.entries;
  waitingBytes_ -= oldest.bytes;
  return oldest;
}

void Publisher::WarnOfLost() {
  if (lost_ == 0) return;
  __android_log_print(KORA_LOG_WARN, kLogTag,
                      "store %s: observers are too slow; %llu changes were dropped before they were told",
                      storeName_.c_str(), static_cast<unsigned long long>(lost_));
  warned_ = std::chrono::steady_clock::now();
  lost_ = 0;
}

Publisher::Observers Publisher::ObserversOf(const Waiting& change) const {
  Observers observers;
  for (const Subscription& subscription : subscriptions_) {
    if (Hears(subscription.type, change.origin) && subscription.since <= change.number)
      observers.push_back(subscription.observer);
  }
  return observers;
}

void Publisher::Tell(KvStoreObserver& observer, const Waiting& change) {
  if (change.snapshots) {
    observer.OnChange(*change.notification, change.snapshots());
  } else {
    observer.OnChange(*change.notification);
  }
}

// Whether there are more. One that is empty is none.
bool Publisher::MakePiece(Waiting& change) const noexcept {
  bool more = false;
  change.notification.reset();
  Guard([&] {
    Change piece;
    more = change.pieces(piece);
    if (piece.Entries() > 0) change.notification.emplace(Describe(std::move(piece)));
  });
  return more;
}

bool Publisher::DeliverOne(const Invoker& invoke) {
  // Both end outside the lock: an observer's end is code of the program.
  std::optional<Waiting> oldest;
  Observers observers;
  std::unique_lock<std::mutex> lock(mutex_);
  if (waiting_.empty()) return scheduled_ = false;
  oldest.emplace(TakeOldest());
  observers = ObserversOf(*oldest);
  lock.unlock();

  const bool more = oldest->pieces && !observers.empty() && MakePiece(*oldest);
  for (const std::shared_ptr<KvStoreObserver>& observer : observers) {
    if (oldest->notification) invoke([&] { Tell(*observer, *oldest); });
  }

  lock.lock();
  if (more) {
    Count(*oldest);
    waiting_.push_front(std::move(*oldest));
  }
  stuck_ = false;
  roomMade_.notify_all();
  if (waiting_.empty()) WarnOfLost();
  return scheduled_ = !waiting_.empty();
}

}  // namespace KORA::DistributedKv::Client
