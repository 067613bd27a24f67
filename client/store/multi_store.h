// A handle of a multi-version store.
#pragma once

#include <memory>

#include "contract/kv_store.h"
#include "store/store_lease.h"

namespace KORA::DistributedKv::Client {

// Read through snapshots. An observer that is given to GetKvStoreSnapshot is subscribed to all changes right
// before the snapshot is taken, so it misses none that the snapshot lacks.
class MultiStore : public KvStore {
 public:
  explicit MultiStore(std::unique_ptr<StoreLease> lease) : lease_(std::move(lease)) {}

  StoreId GetStoreId() const override;
  void GetKvStoreSnapshot(std::shared_ptr<KvStoreObserver> observer,
                          std::function<void(Status, std::unique_ptr<KvStoreSnapshot>)> callback) override;
  Status ReleaseKvStoreSnapshot(std::unique_ptr<KvStoreSnapshot> snapshot) override;
  Status Put(const Key& key, const Value& value) override;
  Status PutBatch(const std::vector<Entry>& entries) override;
  Status Delete(const Key& key) override;
  Status DeleteBatch(const std::vector<Key>& keys) override;
  Status Clear() override;
  Status StartTransaction() override;
  Status Commit() override;
  Status Rollback() override;
  Status SubscribeKvStore(SubscribeType type, std::shared_ptr<KvStoreObserver> observer) override;
  Status UnSubscribeKvStore(SubscribeType type, std::shared_ptr<KvStoreObserver> observer) override;

 private:
  const std::unique_ptr<StoreLease> lease_;
};

}  // namespace KORA::DistributedKv::Client
