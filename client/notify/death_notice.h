// Tells the death recipients that an engine has failed for good.
#pragma once

#include <memory>
#include <mutex>
#include <vector>

#include "contract/kv_store_death_recipient.h"
#include "notify/callback_queue.h"

namespace KORA::DistributedKv::Client {

// Any thread may call. Recipients are called on the callback queue, once for each failure; one call may still
// be running when its recipient has been taken away.
class DeathNotice : public CallbackSource, public std::enable_shared_from_this<DeathNotice> {
 public:
  static DeathNotice& Instance();

  void Add(std::shared_ptr<KvStoreDeathRecipient> recipient);
  void Remove(const std::shared_ptr<KvStoreDeathRecipient>& recipient);

  void Announce();

  bool DeliverOne(const Invoker& invoke) override;

 private:
  std::mutex mutex_;
  std::vector<std::shared_ptr<KvStoreDeathRecipient>> recipients_;
  int waiting_ = 0;  // failures
};

}  // namespace KORA::DistributedKv::Client
