#include "store/multi_store.h"

#include <utility>

#include "common/guard.h"
#include "store/snapshot.h"

namespace KORA::DistributedKv::Client {

StoreId MultiStore::GetStoreId() const {
  return lease_->Id();
}

void MultiStore::GetKvStoreSnapshot(std::shared_ptr<KvStoreObserver> observer,
                                    std::function<void(Status, std::unique_ptr<KvStoreSnapshot>)> callback) {
  std::unique_ptr<KvStoreSnapshot> taken;
  Status status = observer ? lease_->Subscribe(SubscribeType::ALL, observer) : Status::SUCCESS;
  if (status == Status::SUCCESS) {
    status = lease_->Access([&taken](Store& store) {
      std::unique_ptr<View> now;
      if (const Status answer = store.NewSnapshot(now); answer != Status::SUCCESS) return answer;
      auto view = std::make_shared<const Snapshot::ViewReader>(store.shared_from_this(), std::move(now));
      taken = std::make_unique<Snapshot>(std::move(view), store.Id());
      return Status::SUCCESS;
    });
    if (status != Status::SUCCESS && observer) UnSubscribeKvStore(SubscribeType::ALL, observer);
  }
  Guard([&] { callback(status, std::move(taken)); });
}

Status MultiStore::ReleaseKvStoreSnapshot(std::unique_ptr<KvStoreSnapshot> snapshot) {
  if (snapshot == nullptr) return Status::INVALID_ARGUMENT;
  // Whatever has become of the store.
  return Guard([&] { snapshot.reset(); });
}

Status MultiStore::Put(const Key& key, const Value& value) {
  return lease_->Access([&](Store& store) { return store.Put(key, value); });
}

Status MultiStore::PutBatch(const std::vector<Entry>& entries) {
  return lease_->Access([&](Store& store) { return store.PutBatch(entries); });
}

Status MultiStore::Delete(const Key& key) {
  return lease_->Access([&](Store& store) { return store.Delete(key); });
}

Status MultiStore::DeleteBatch(const std::vector<Key>& keys) {
  return lease_->Access([&](Store& store) { return store.DeleteBatch(keys); });
}

Status MultiStore::Clear() {
  return lease_->Access([](Store& store) { return store.Clear(); });
}

Status MultiStore::StartTransaction() {
  return lease_->Access([](Store& store) { return store.StartTransaction(); });
}

Status MultiStore::Commit() {
  return lease_->Call([](Store& store) { return store.Commit(); });
}

Status MultiStore::Rollback() {
  return lease_->Call([](Store& store) { return store.Rollback(); });
}

Status MultiStore::SubscribeKvStore(SubscribeType type, std::shared_ptr<KvStoreObserver> observer) {
  return lease_->Subscribe(type, std::move(observer));
}

Status MultiStore::UnSubscribeKvStore(SubscribeType type, std::shared_ptr<KvStoreObserver> observer) {
  return lease_->Call([&](Store& store) { return store.Observers().Unsubscribe(type, observer); });
}

}  // namespace KORA::DistributedKv::Client
