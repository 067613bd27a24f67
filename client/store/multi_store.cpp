#include "store/multi_store.h"

#include "common/guard.h"

namespace KORA::DistributedKv::Client {

StoreId MultiStore::GetStoreId() const {
  return lease_->Id();
}

void MultiStore::GetKvStoreSnapshot(std::shared_ptr<KvStoreObserver> /*observer*/,
                                    std::function<void(Status, std::unique_ptr<KvStoreSnapshot>)> callback) {
  Guard([&callback] {
    callback(Status::NOT_SUPPORT, nullptr);
    return Status::SUCCESS;
  });
}

Status MultiStore::ReleaseKvStoreSnapshot(std::unique_ptr<KvStoreSnapshot> /*snapshot*/) {
  return Status::NOT_SUPPORT;
}

Status MultiStore::Put(const Key& key, const Value& value) {
  return lease_->Call([&](Store& store) { return store.Put(key, value); });
}

Status MultiStore::PutBatch(const std::vector<Entry>& entries) {
  return lease_->Call([&](Store& store) { return store.PutBatch(entries); });
}

Status MultiStore::Delete(const Key& key) {
  return lease_->Call([&](Store& store) { return store.Delete(key); });
}

Status MultiStore::DeleteBatch(const std::vector<Key>& keys) {
  return lease_->Call([&](Store& store) { return store.DeleteBatch(keys); });
}

Status MultiStore::Clear() {
  return lease_->Call([](Store& store) { return store.Clear(); });
}

Status MultiStore::StartTransaction() {
  return lease_->Call([](Store& store) { return store.StartTransaction(); });
}

Status MultiStore::Commit() {
  return lease_->Call([](Store& store) { return store.Commit(); });
}

Status MultiStore::Rollback() {
  return lease_->Call([](Store& store) { return store.Rollback(); });
}

Status MultiStore::SubscribeKvStore(SubscribeType /*type*/, std::shared_ptr<KvStoreObserver> /*observer*/) {
  return Status::NOT_SUPPORT;
}

Status MultiStore::UnSubscribeKvStore(SubscribeType /*type*/, std::shared_ptr<KvStoreObserver> /*observer*/) {
  return Status::NOT_SUPPORT;
}

}  // namespace KORA::DistributedKv::Client
