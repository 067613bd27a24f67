#include "device/device_listeners.h"

#include <algorithm>
#include <utility>

#include "common/log.h"
#include "common/take_if.h"

namespace KORA::DistributedKv::Client {

namespace {

// What may wait for a slow listener. Above this the oldest is dropped: the list still has it.
constexpr size_t kMaxWaiting = 1000;

std::shared_ptr<DeviceListeners> NewInstance() {
  auto instance = std::make_shared<DeviceListeners>();
  DeathNotice::Instance().Watch(instance);
  return instance;
}

}  // namespace

DeviceListeners& DeviceListeners::Instance() {
  static auto& instance = *new auto(NewInstance());  // in use until the process has ended
  return *instance;
}

Status DeviceListeners::Add(const void* owner, Listener listener) {
  if (listener == nullptr) return Status::INVALID_ARGUMENT;
  const std::lock_guard<std::mutex> lock(mutex_);
  const bool known = std::any_of(
      registrations_.begin(), registrations_.end(),
      [&](const Registration& other) { return other.owner == owner && other.listener == listener; });
  if (known) return Status::ERROR;
  registrations_.push_back({owner, std::move(listener), nextNumber_});
  return Status::SUCCESS;
}

Status DeviceListeners::Remove(const void* owner, const Listener& listener) {
  const size_t dropped =
      DropIf([&](const Registration& other) { return other.owner == owner && other.listener == listener; });
  return dropped == 1 ? Status::SUCCESS : Status::KEY_NOT_FOUND;
}

void DeviceListeners::DropOwned(const void* owner) {
  DropIf([owner](const Registration& registration) { return registration.owner == owner; });
}

void DeviceListeners::DropAll() {
  DropIf([](const Registration& /*any*/) { return true; });
}

template <typename Predicate>
size_t DeviceListeners::DropIf(Predicate fits) {
  std::vector<Registration> dropped;  // ends outside the lock: a listener's end is code of the program
  const std::lock_guard<std::mutex> lock(mutex_);
  dropped = TakeIf(registrations_, fits);
  return dropped.size();
}

void DeviceListeners::Tell(const DeviceInfo& device, bool online, bool turned) {
  const std::lock_guard<std::mutex> lock(mutex_);
  if (registrations_.empty()) return;
  if (waiting_.size() == kMaxWaiting) {
    __android_log_print(KORA_LOG_WARN, kLogTag, "device listeners are too slow; a change was dropped");
    waiting_.pop_front();
  }
  waiting_.push_back({nextNumber_++, device, online, turned});
  if (scheduled_) return;
  CallbackQueue::Instance().Schedule(shared_from_this());
  scheduled_ = true;
}

std::vector<DeviceListeners::Listener> DeviceListeners::ListenersTo(const Event& event) const {
  std::vector<Listener> listeners;
  for (const Registration& registration : registrations_) {
    if (registration.since <= event.number) listeners.push_back(registration.listener);
  }
  return listeners;
}

bool DeviceListeners::DeliverOne(const Invoker& invoke) {
  std::vector<Listener> listeners;  // end outside the lock, too
  std::unique_lock<std::mutex> lock(mutex_);
  const Event event = std::move(waiting_.front());
  waiting_.pop_front();
  listeners = ListenersTo(event);
  lock.unlock();
  const DeviceChangeType type = event.online ? DeviceChangeType::ONLINE : DeviceChangeType::OFFLINE;
  for (const Listener& listener : listeners) {
    invoke([&] {
      const bool filters = listener->GetFilterStrategy() == DeviceFilterStrategy::FILTER;
      if (event.turned || !filters) listener->OnDeviceChanged(event.device, type);
    });
  }
  lock.lock();
  return scheduled_ = !waiting_.empty();
}

}  // namespace KORA::DistributedKv::Client
