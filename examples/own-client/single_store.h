// The single-version store as the bridge sees it.
#pragma once

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "contract/single_kv_store.h"
#include "result_set.h"
#include "table.h"

namespace OwnClient {

class SingleStore final : public KORA::DistributedKv::SingleKvStore {
  using Cursor = KORA::DistributedKv::KvStoreResultSet;
  using SyncCallback = KORA::DistributedKv::KvStoreSyncCallback;
  using Labels = std::vector<std::string>;

 public:
  explicit SingleStore(std::shared_ptr<Table> table) : table_(std::move(table)) {}

  StoreId GetStoreId() const override { return table_->Id(); }
  Status Get(const Key& key, Value& value) const override { return table_->Get(key, value); }
  Status GetEntries(const Key& prefixKey, std::vector<Entry>& entries) const override {
    return table_->Entries(prefixKey, entries);
  }
  void GetResultSet(const Key& prefixKey, ResultSetCallback callback) const override {
    std::unique_ptr<Cursor> cursor;
    const Status status = Guarded([&] {
      std::vector<Entry> entries;
      const Status read = table_->Entries(prefixKey, entries);
      if (read == Status::SUCCESS) cursor = std::make_unique<ResultSet>(std::move(entries));
      return read;
    });
    callback(status, std::move(cursor));
  }
  Status CloseResultSet(std::unique_ptr<Cursor>&& resultSet) override {
    const auto closed = std::move(resultSet);
    return closed ? Status::SUCCESS : Status::INVALID_ARGUMENT;
  }

  Status Put(const Key& key, const Value& value) override {
    return Guarded([&] { return table_->Put({Entry(key, value)}); });
  }
  Status PutBatch(const std::vector<Entry>& entries) override { return table_->Put(entries); }
  Status Delete(const Key& key) override {
    return Guarded([&] { return table_->Delete({key}); });
  }
  Status DeleteBatch(const std::vector<Key>& keys) override { return table_->Delete(keys); }
  Status StartTransaction() override { return table_->StartTransaction(); }
  Status Commit() override { return table_->Commit(); }
  Status Rollback() override { return table_->Rollback(); }

  Status SubscribeKvStore(SubscribeType type, std::shared_ptr<KvStoreObserver> observer) override {
    return table_.Subscribe(type, observer);
  }
  Status UnSubscribeKvStore(SubscribeType /*type*/, std::shared_ptr<KvStoreObserver> observer) override {
    return table_->UnSubscribe(observer);
  }
  Status GetSecurityLevel(KORA::DistributedKv::SecurityLevel& level) const override {
    level = table_->OpenedWith().securityLevel;
    return Status::SUCCESS;
  }

  // What this client leaves out says so, and leaves the caller's variables alone.
  Status GetEntriesWithQuery(const std::string&, std::vector<Entry>&) const override { return kLeftOut; }
  void GetResultSetWithQuery(const std::string&, ResultSetCallback callback) const override {
    callback(kLeftOut, nullptr);
  }
  Status GetCountWithQuery(const std::string&, int32_t&) const override { return kLeftOut; }
  Status Sync(const Labels&, KORA::DistributedKv::SyncMode, int32_t) override { return kLeftOut; }
  Status RemoveDeviceData(const std::string&, int32_t) override { return kLeftOut; }
  Status RegisterSyncCallback(std::shared_ptr<SyncCallback>) override { return kLeftOut; }
  Status UnRegisterSyncCallback() override { return kLeftOut; }
  Status SetSyncParam(const KORA::DistributedKv::SyncParam&) override { return kLeftOut; }
  Status SetCapabilityEnabled(bool) override { return kLeftOut; }
  Status SetCapabilityRange(const Labels&, const Labels&) override { return kLeftOut; }

 private:
  static constexpr Status kLeftOut = Status::NOT_SUPPORT;

  const TableHandle table_;
};

}  // namespace OwnClient
