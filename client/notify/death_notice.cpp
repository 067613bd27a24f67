#include "notify/death_notice.h"

#include <algorithm>
#include <utility>

namespace KORA::DistributedKv::Client {

DeathNotice& DeathNotice::Instance() {
  static const auto& instance = *new std::shared_ptr<DeathNotice>(std::make_shared<DeathNotice>());
  return *instance;
}

void DeathNotice::Add(std::shared_ptr<KvStoreDeathRecipient> recipient) {
  const std::lock_guard<std::mutex> lock(mutex_);
  if (std::find(recipients_.begin(), recipients_.end(), recipient) == recipients_.end())
    recipients_.push_back(std::move(recipient));
}

void DeathNotice::Remove(const std::shared_ptr<KvStoreDeathRecipient>& recipient) {
  std::shared_ptr<KvStoreDeathRecipient> removed;  // ends outside the lock: its end is code of the program
  const std::lock_guard<std::mutex> lock(mutex_);
  const auto found = std::find(recipients_.begin(), recipients_.end(), recipient);
  if (found == recipients_.end()) return;
  removed = std::move(*found);
  recipients_.erase(found);
}

void DeathNotice::Announce() {
  const std::lock_guard<std::mutex> lock(mutex_);
  if (waiting_ == 0) CallbackQueue::Instance().Schedule(shared_from_this());
  ++waiting_;
}

void DeathNotice::Watch(std::weak_ptr<Registrations> registrations) {
  const std::lock_guard<std::mutex> lock(mutex_);
  const auto gone = [](const std::weak_ptr<Registrations>& watched) { return watched.expired(); };
  watched_.erase(std::remove_if(watched_.begin(), watched_.end(), gone), watched_.end());
  watched_.push_back(std::move(registrations));
}

void DeathNotice::DropRegistrations() {
  std::unique_lock<std::mutex> lock(mutex_);
  const std::vector<std::weak_ptr<Registrations>> watched = watched_;
  lock.unlock();
  for (const auto& registrations : watched) {
    if (const auto held = registrations.lock()) held->DropAll();
  }
}

bool DeathNotice::DeliverOne(const Invoker& invoke) {
  std::vector<std::shared_ptr<KvStoreDeathRecipient>> recipients;  // end outside the lock, too
  std::unique_lock<std::mutex> lock(mutex_);
  recipients = recipients_;
  lock.unlock();
  for (const auto& recipient : recipients) {
    DropRegistrations();
    invoke([&] { recipient->OnRemoteDied(); });
  }
  lock.lock();
  return --waiting_ > 0;
}

}  // namespace KORA::DistributedKv::Client
