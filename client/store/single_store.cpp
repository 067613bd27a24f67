#include "store/single_store.h"

#include <utility>

#include "cluster/device_data.h"
#include "cluster/service.h"
#include "common/guard.h"
#include "query/store_query.h"
#include "store/prefix_rows.h"
#include "store/record.h"
#include "store/result_set.h"

namespace KORA::DistributedKv::Client {

namespace {

Status Refuse(const char* what) {
  __android_log_print(KORA_LOG_WARN, kLogTag, "refused: %s", what);
  return Status::INVALID_ARGUMENT;
}

}  // namespace

StoreId SingleStore::GetStoreId() const {
  return lease_->Id();
}

Status SingleStore::Get(const Key& key, Value& value) const {
  return lease_->Access([&](const Store& store) { return store.Get(key, value); });
}

Status SingleStore::GetEntries(const Key& prefixKey, std::vector<Entry>& entries) const {
  return lease_->Access([&](const Store& store) { return store.GetEntries(prefixKey, entries); });
}

Status SingleStore::Put(const Key& key, const Value& value) {
  return lease_->Access([&](Store& store) { return store.Put(key, value); });
}

Status SingleStore::PutBatch(const std::vector<Entry>& entries) {
  return lease_->Access([&](Store& store) { return store.PutBatch(entries); });
}

Status SingleStore::Delete(const Key& key) {
  return lease_->Access([&](Store& store) { return store.Delete(key); });
}

Status SingleStore::DeleteBatch(const std::vector<Key>& keys) {
  return lease_->Access([&](Store& store) { return store.DeleteBatch(keys); });
}

Status SingleStore::StartTransaction() {
  return lease_->Access([](Store& store) { return store.StartTransaction(); });
}

Status SingleStore::Commit() {
  return lease_->Call([](Store& store) { return store.Commit(); });
}

Status SingleStore::Rollback() {
  return lease_->Call([](Store& store) { return store.Rollback(); });
}

Status SingleStore::SubscribeKvStore(SubscribeType type, std::shared_ptr<KvStoreObserver> observer) {
  return lease_->Subscribe(type, std::move(observer));
}

Status SingleStore::UnSubscribeKvStore(SubscribeType type, std::shared_ptr<KvStoreObserver> observer) {
  return lease_->Call([&](Store& store) { return store.Observers().Unsubscribe(type, observer); });
}

Status SingleStore::GetSecurityLevel(SecurityLevel& level) const {
  return lease_->Call([&](const Store& store) {
    level = static_cast<SecurityLevel>(store.Traits().securityLevel);
    return Status::SUCCESS;
  });
}

Status SingleStore::GetEntriesWithQuery(const std::string& query, std::vector<Entry>& entries) const {
  return lease_->Access([&](Store& store) { return Client::GetEntriesWithQuery(store, query, entries); });
}

template <typename MakeRows>
void SingleStore::OpenResultSet(const ResultSetCallback& callback, MakeRows makeRows) const {
  std::unique_ptr<KvStoreResultSet> opened;
  const Status status = lease_->Access([&](Store& store) {
    std::unique_ptr<Rows> rows;
    const Status made = makeRows(store, rows);
    return made == Status::SUCCESS ? ResultSet::Open(store.shared_from_this(), std::move(rows), opened)
                                   : made;
  });
  Guard([&] { callback(status, std::move(opened)); });
}

void SingleStore::GetResultSet(const Key& prefixKey, ResultSetCallback callback) const {
  OpenResultSet(callback, [&](Store& store, std::unique_ptr<Rows>& rows) {
    std::unique_ptr<View> snapshot;
    if (const Status status = store.NewSnapshot(snapshot); status != Status::SUCCESS) return status;
    rows = std::make_unique<PrefixRows>(store.Id(), std::move(snapshot), ToBytes(prefixKey));
    return Status::SUCCESS;
  });
}

void SingleStore::GetResultSetWithQuery(const std::string& query, ResultSetCallback callback) const {
  OpenResultSet(callback,
                [&](Store& store, std::unique_ptr<Rows>& rows) { return OpenQuery(store, query, rows); });
}

Status SingleStore::CloseResultSet(std::unique_ptr<KvStoreResultSet>&& resultSet) {
  if (resultSet == nullptr) return Status::INVALID_ARGUMENT;
  // Whatever has become of the store.
  return Guard([&] { resultSet.reset(); });
}

Status SingleStore::GetCountWithQuery(const std::string& query, int32_t& count) const {
  return lease_->Access([&](Store& store) { return Client::GetCountWithQuery(store, query, count); });
}

Status SingleStore::Sync(const std::vector<std::string>& deviceIds, SyncMode mode, int32_t delayMs) {
  return Guard([&] { return syncs_.Start(*lease_, deviceIds, mode, delayMs); });
}

Status SingleStore::RegisterSyncCallback(std::shared_ptr<KvStoreSyncCallback> callback) {
  return lease_->Call([&](const Store&) { return syncs_.Register(std::move(callback)); });
}

Status SingleStore::UnRegisterSyncCallback() {
  return lease_->Call([&](const Store&) { return syncs_.Unregister(); });
}

Status SingleStore::RemoveDeviceData(const std::string& deviceId, int32_t flags) {
  if (flags != 0) return Refuse("to remove a device's data with unknown flags; 0 is the only one");
  if (deviceId.empty()) return Refuse("to remove the data of a device without an identifier");
  return lease_->Access([&](Store& store) { return Cluster::RemoveDeviceData(store, deviceId); });
}

Status SingleStore::ChangeLabels(const std::function<void(SyncSettings&)>& change) {
  return lease_->Call([&](Store& store) {
    const Status status = store.ChangeSyncSettings(change);
    Cluster::Service* service = Cluster::Service::Running();
    if (status == Status::SUCCESS && service != nullptr) service->TakeRules(store);
    return status;
  });
}

Status SingleStore::SetSyncParam(const SyncParam& param) {
  if (param.allowedDelayMs < 0) return Refuse("a negative allowed delay");
  return lease_->Call([&](Store& store) {
    return store.ChangeSyncSettings(
        [&](SyncSettings& settings) { settings.allowedDelayMs = param.allowedDelayMs; });
  });
}

Status SingleStore::SetCapabilityEnabled(bool enabled) {
  return ChangeLabels([&](SyncSettings& settings) { settings.capabilityEnabled = enabled; });
}

Status SingleStore::SetCapabilityRange(const std::vector<std::string>& localLabels,
                                       const std::vector<std::string>& remoteLabels) {
  Status status = CheckLabels(localLabels);
  if (status == Status::SUCCESS) status = CheckLabels(remoteLabels);
  if (status != Status::SUCCESS) return status;
  return ChangeLabels([&](SyncSettings& settings) {
    settings.localLabels = localLabels;
    settings.remoteLabels = remoteLabels;
  });
}

}  // namespace KORA::DistributedKv::Client
