// Who wants to hear of devices that come and go.
#pragma once

#include <cstdint>
#include <deque>
#include <memory>
#include <mutex>
#include <vector>

#include "contract/device_status_change_listener.h"
#include "contract/status.h"
#include "notify/callback_queue.h"
#include "notify/death_notice.h"

namespace KORA::DistributedKv::Client {

// Of all managers of the process. Any thread may call. Listeners are called on the callback queue, with what
// happens from their addition on; one call may still be running when its listener has been taken away.
class DeviceListeners : public CallbackSource,
                        public Registrations,
                        public std::enable_shared_from_this<DeviceListeners> {
 public:
  using Listener = std::shared_ptr<DeviceStatusChangeListener>;

  static DeviceListeners& Instance();

  // `owner`: the manager. SUCCESS; INVALID_ARGUMENT for none; ERROR if it is among the owner's, where it
  // stays.
  Status Add(const void* owner, Listener listener);
  // SUCCESS; KEY_NOT_FOUND if it is not among the owner's.
  Status Remove(const void* owner, const Listener& listener);
  void DropOwned(const void* owner);
  void DropAll() override;

  // `turned`: the device has come or gone. If it has only changed its name or type, those that filter are not
  // told.
  void Tell(const DeviceInfo& device, bool online, bool turned);

  bool DeliverOne(const Invoker& invoke) override;

 private:
  struct Registration {
    const void* owner;
    Listener listener;
    uint64_t since;  // the number of the first event that it is told of
  };
  struct Event {
    uint64_t number = 0;
    DeviceInfo device;
    bool online = false;
    bool turned = false;
  };

  template <typename Predicate>
  size_t DropIf(Predicate fits);
  std::vector<Listener> ListenersTo(const Event& event) const;

  std::mutex mutex_;
  std::vector<Registration> registrations_;
  std::deque<Event> waiting_;
  uint64_t nextNumber_ = 0;
  bool scheduled_ = false;
};

}  // namespace KORA::DistributedKv::Client
