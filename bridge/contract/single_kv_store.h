// A single-version store.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "contract/blob.h"
#include "contract/entry.h"
#include "contract/kv_store_observer.h"
#include "contract/kv_store_result_set.h"
#include "contract/kv_store_sync_callback.h"
#include "contract/status.h"
#include "contract/types.h"

namespace KORA::DistributedKv {

// Any thread may call. Query texts are modified UTF-8; Kora's Java API passes ASCII. The declaration order is
// part of the binary contract; a reserved place keeps the position of an operation that the bridge never
// calls.
class SingleKvStore {
 public:
  // Runs exactly once, before the operation that takes it returns, and is given the result set.
  using ResultSetCallback = std::function<void(Status, std::unique_ptr<KvStoreResultSet>)>;

  SingleKvStore() = default;
  SingleKvStore(const SingleKvStore&) = delete;
  SingleKvStore& operator=(const SingleKvStore&) = delete;
  virtual ~SingleKvStore() = default;

  // Entries come in the order of their key bytes.
  virtual Status GetEntries(const Key& prefixKey, std::vector<Entry>& entries) const = 0;
  virtual Status GetEntriesWithQuery(const std::string& query, std::vector<Entry>& entries) const = 0;
  virtual void Reserved4() {}
  virtual void GetResultSet(const Key& prefixKey, ResultSetCallback callback) const = 0;
  virtual void GetResultSetWithQuery(const std::string& query, ResultSetCallback callback) const = 0;
  virtual void Reserved7() {}
  // The end of a result set, also when it fails: the caller destroys what the store leaves in `resultSet`.
  virtual Status CloseResultSet(std::unique_ptr<KvStoreResultSet>&& resultSet) = 0;
  virtual Status GetCountWithQuery(const std::string& query, int32_t& count) const = 0;
  virtual void Reserved10() {}
  // Starts a synchronisation; the result comes through the sync callback. `delayMs`: milliseconds.
  virtual Status Sync(const std::vector<std::string>& deviceIds, SyncMode mode, int32_t delayMs) = 0;
  virtual Status RemoveDeviceData(const std::string& deviceId, int32_t flags) = 0;
  virtual StoreId GetStoreId() const = 0;
  virtual Status Delete(const Key& key) = 0;
  virtual Status Put(const Key& key, const Value& value) = 0;
  virtual Status Get(const Key& key, Value& value) const = 0;
  // The store shares the observer until UnSubscribeKvStore or its own end.
  virtual Status SubscribeKvStore(SubscribeType type, std::shared_ptr<KvStoreObserver> observer) = 0;
  virtual Status UnSubscribeKvStore(SubscribeType type, std::shared_ptr<KvStoreObserver> observer) = 0;
  virtual Status RegisterSyncCallback(std::shared_ptr<KvStoreSyncCallback> callback) = 0;
  virtual Status UnRegisterSyncCallback() = 0;
  // A batch is written whole or not at all.
  virtual Status PutBatch(const std::vector<Entry>& entries) = 0;
  virtual Status DeleteBatch(const std::vector<Key>& keys) = 0;
  virtual Status StartTransaction() = 0;
  virtual Status Commit() = 0;
  virtual Status Rollback() = 0;
  virtual Status SetSyncParam(const SyncParam& param) = 0;
  virtual void Reserved27() {}
  virtual Status SetCapabilityEnabled(bool enabled) = 0;
  virtual Status SetCapabilityRange(const std::vector<std::string>& localLabels,
                                    const std::vector<std::string>& remoteLabels) = 0;
  virtual Status GetSecurityLevel(SecurityLevel& level) const = 0;
};

}  // namespace KORA::DistributedKv
