// Tells the death recipients that an engine has failed for good, or that the hub has been lost for long.
#pragma once

#include <memory>
#include <mutex>
#include <vector>

#include "contract/kv_store_death_recipient.h"
#include "notify/callback_queue.h"

namespace KORA::DistributedKv::Client {

// What programs have registered, and what a bridge takes for gone when it hears that the service died.
class Registrations {
 public:
  Registrations() = default;
  Registrations(const Registrations&) = delete;
  Registrations& operator=(const Registrations&) = delete;
  virtual ~Registrations() = default;

  virtual void DropAll() = 0;
};

// Any thread may call. Recipients are called on the callback queue, once for each failure; one call may still
// be running when its recipient has been taken away. Before each of them all registrations are dropped, since
// the bridge forgets them at each: else a program that registers again would hear twice. Where nobody is to
// hear of the death, they stay.
class DeathNotice : public CallbackSource, public std::enable_shared_from_this<DeathNotice> {
 public:
  static DeathNotice& Instance();

  void Add(std::shared_ptr<KvStoreDeathRecipient> recipient);
  void Remove(const std::shared_ptr<KvStoreDeathRecipient>& recipient);

  // These are dropped from now on, as long as they exist.
  void Watch(std::weak_ptr<Registrations> registrations);

  void Announce();

  bool DeliverOne(const Invoker& invoke) override;

 private:
  void DropRegistrations();

  std::mutex mutex_;
  std::vector<std::shared_ptr<KvStoreDeathRecipient>> recipients_;
  std::vector<std::weak_ptr<Registrations>> watched_;
  int waiting_ = 0;  // failures
};

}  // namespace KORA::DistributedKv::Client
