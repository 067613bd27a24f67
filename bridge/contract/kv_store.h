// A multi-version store.
#pragma once

#include <functional>
#include <memory>
#include <vector>

#include "contract/blob.h"
#include "contract/entry.h"
#include "contract/kv_store_observer.h"
#include "contract/kv_store_snapshot.h"
#include "contract/status.h"
#include "contract/types.h"

namespace KORA::DistributedKv {

// Any thread may call. The declaration order is part of the binary contract.
class KvStore {
 public:
  KvStore() = default;
  KvStore(const KvStore&) = delete;
  KvStore& operator=(const KvStore&) = delete;
  virtual ~KvStore() = default;

  virtual StoreId GetStoreId() const = 0;
  // The callback runs exactly once, on the calling thread, before the operation returns, and is given the
  // snapshot. `observer` may be empty.
  virtual void GetKvStoreSnapshot(std::shared_ptr<KvStoreObserver> observer,
                                  std::function<void(Status, std::unique_ptr<KvStoreSnapshot>)> callback) = 0;
  virtual Status ReleaseKvStoreSnapshot(std::unique_ptr<KvStoreSnapshot> snapshot) = 0;
  virtual Status Put(const Key& key, const Value& value) = 0;
  // A batch is written whole or not at all.
  virtual Status PutBatch(const std::vector<Entry>& entries) = 0;
  virtual Status Delete(const Key& key) = 0;
  virtual Status DeleteBatch(const std::vector<Key>& keys) = 0;
  virtual Status Clear() = 0;
  virtual Status StartTransaction() = 0;
  virtual Status Commit() = 0;
  virtual Status Rollback() = 0;
  // The store shares the observer until UnSubscribeKvStore or its own end.
  virtual Status SubscribeKvStore(SubscribeType type, std::shared_ptr<KvStoreObserver> observer) = 0;
  virtual Status UnSubscribeKvStore(SubscribeType type, std::shared_ptr<KvStoreObserver> observer) = 0;
};

}  // namespace KORA::DistributedKv
