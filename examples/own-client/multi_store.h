// The multi-version store as the bridge sees it: written here, read through snapshots.
#pragma once

#include <functional>
#include <memory>
#include <utility>
#include <vector>

#include "contract/kv_store.h"
#include "snapshot.h"
#include "table.h"

namespace OwnClient {

class MultiStore final : public KORA::DistributedKv::KvStore {
  using View = KORA::DistributedKv::KvStoreSnapshot;

 public:
  explicit MultiStore(std::shared_ptr<Table> table) : table_(std::move(table)) {}

  StoreId GetStoreId() const override { return table_->Id(); }

  // The bridge asks for a snapshot without an observer, so there is nobody to tell of later changes.
  void GetKvStoreSnapshot(std::shared_ptr<KvStoreObserver> observer,
                          std::function<void(Status, std::unique_ptr<View>)> callback) override {
    if (observer != nullptr) return callback(Status::NOT_SUPPORT, nullptr);
    std::unique_ptr<View> snapshot;
    const Status status = Guarded([&] {
      std::shared_ptr<const Records> records;
      const Status copied = table_->Copy(records);
      if (copied == Status::SUCCESS) snapshot = std::make_unique<Snapshot>(std::move(records));
      return copied;
    });
    callback(status, std::move(snapshot));
  }
  Status ReleaseKvStoreSnapshot(std::unique_ptr<View> snapshot) override {
    return snapshot ? Status::SUCCESS : Status::INVALID_ARGUMENT;
  }

  Status Put(const Key& key, const Value& value) override {
    return Guarded([&] { return table_->Put({Entry(key, value)}); });
  }
  Status PutBatch(const std::vector<Entry>& entries) override { return table_->Put(entries); }
  Status Delete(const Key& key) override {
    return Guarded([&] { return table_->Delete({key}); });
  }
  Status DeleteBatch(const std::vector<Key>& keys) override { return table_->Delete(keys); }
  Status Clear() override { return table_->Clear(); }
  Status StartTransaction() override { return table_->StartTransaction(); }
  Status Commit() override { return table_->Commit(); }
  Status Rollback() override { return table_->Rollback(); }

  Status SubscribeKvStore(SubscribeType type, std::shared_ptr<KvStoreObserver> observer) override {
    return table_.Subscribe(type, observer);
  }
  Status UnSubscribeKvStore(SubscribeType /*type*/, std::shared_ptr<KvStoreObserver> observer) override {
    return table_->UnSubscribe(observer);
  }

 private:
  const TableHandle table_;
};

}  // namespace OwnClient
