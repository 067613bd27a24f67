// Told that the store service has died.
#pragma once

namespace KORA::DistributedKv {

// The one interface whose notification is declared before its destructor; the order is part of the binary
// contract.
class KvStoreDeathRecipient {
 public:
  KvStoreDeathRecipient() = default;
  KvStoreDeathRecipient(const KvStoreDeathRecipient&) = delete;
  KvStoreDeathRecipient& operator=(const KvStoreDeathRecipient&) = delete;

  // Called on a thread of the client, which keeps the recipient alive during the call.
  virtual void OnRemoteDied() = 0;
  virtual ~KvStoreDeathRecipient() = default;
};

}  // namespace KORA::DistributedKv
