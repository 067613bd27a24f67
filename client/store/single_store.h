// A handle of a single-version store.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <utility>

#include "cluster/sync_session.h"
#include "contract/single_kv_store.h"
#include "store/store_lease.h"

namespace KORA::DistributedKv::Client {

class SingleStore : public SingleKvStore {
 public:
  // `application`: whose store it is.
  explicit SingleStore(std::unique_ptr<StoreLease> lease, std::string application = {})
      : lease_(std::move(lease)), syncs_(std::move(application)) {}

  Status GetEntries(const Key& prefixKey, std::vector<Entry>& entries) const override;
  Status GetEntriesWithQuery(const std::string& query, std::vector<Entry>& entries) const override;
  void GetResultSet(const Key& prefixKey, ResultSetCallback callback) const override;
  void GetResultSetWithQuery(const std::string& query, ResultSetCallback callback) const override;
  Status CloseResultSet(std::unique_ptr<KvStoreResultSet>&& resultSet) override;
  Status GetCountWithQuery(const std::string& query, int32_t& count) const override;
  Status Sync(const std::vector<std::string>& deviceIds, SyncMode mode, int32_t delayMs) override;
  Status RemoveDeviceData(const std::string& deviceId, int32_t flags) override;
  StoreId GetStoreId() const override;
  Status Delete(const Key& key) override;
  Status Put(const Key& key, const Value& value) override;
  Status Get(const Key& key, Value& value) const override;
  Status SubscribeKvStore(SubscribeType type, std::shared_ptr<KvStoreObserver> observer) override;
  Status UnSubscribeKvStore(SubscribeType type, std::shared_ptr<KvStoreObserver> observer) override;
  Status RegisterSyncCallback(std::shared_ptr<KvStoreSyncCallback> callback) override;
  Status UnRegisterSyncCallback() override;
  Status PutBatch(const std::vector<Entry>& entries) override;
  Status DeleteBatch(const std::vector<Key>& keys) override;
  Status StartTransaction() override;
  Status Commit() override;
  Status Rollback() override;
  Status SetSyncParam(const SyncParam& param) override;
  Status SetCapabilityEnabled(bool enabled) override;
  Status SetCapabilityRange(const std::vector<std::string>& localLabels,
                            const std::vector<std::string>& remoteLabels) override;
  Status GetSecurityLevel(SecurityLevel& level) const override;

 private:
  Status ChangeLabels(const std::function<void(SyncSettings&)>& change);
  // `makeRows` is given the store and fills in the rows.
  template <typename MakeRows>
  void OpenResultSet(const ResultSetCallback& callback, MakeRows makeRows) const;

  const std::unique_ptr<StoreLease> lease_;
  Cluster::SyncSession syncs_;
};

}  // namespace KORA::DistributedKv::Client
