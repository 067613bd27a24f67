#include "store/single_store.h"

#include "common/guard.h"

namespace KORA::DistributedKv::Client {

namespace {

void AnswerNotSupported(const SingleKvStore::ResultSetCallback& callback) {
  Guard([&callback] {
    callback(Status::NOT_SUPPORT, nullptr);
    return Status::SUCCESS;
  });
}

}  // namespace

StoreId SingleStore::GetStoreId() const {
  return lease_->Id();
}

Status SingleStore::Get(const Key& key, Value& value) const {
  return lease_->Call([&](const Store& store) { return store.Get(key, value); });
}

Status SingleStore::GetEntries(const Key& prefixKey, std::vector<Entry>& entries) const {
  return lease_->Call([&](const Store& store) { return store.GetEntries(prefixKey, entries); });
}

Status SingleStore::Put(const Key& key, const Value& value) {
  return lease_->Call([&](Store& store) { return store.Put(key, value); });
}

Status SingleStore::PutBatch(const std::vector<Entry>& entries) {
  return lease_->Call([&](Store& store) { return store.PutBatch(entries); });
}

Status SingleStore::Delete(const Key& key) {
  return lease_->Call([&](Store& store) { return store.Delete(key); });
}

Status SingleStore::DeleteBatch(const std::vector<Key>& keys) {
  return lease_->Call([&](Store& store) { return store.DeleteBatch(keys); });
}

Status SingleStore::StartTransaction() {
  return lease_->Call([](Store& store) { return store.StartTransaction(); });
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

Status SingleStore::GetEntriesWithQuery(const std::string& /*query*/, std::vector<Entry>& /*entries*/) const {
  return Status::NOT_SUPPORT;
}

void SingleStore::GetResultSet(const Key& /*prefixKey*/, ResultSetCallback callback) const {
  AnswerNotSupported(callback);
}

void SingleStore::GetResultSetWithQuery(const std::string& /*query*/, ResultSetCallback callback) const {
  AnswerNotSupported(callback);
}

Status SingleStore::CloseResultSet(std::unique_ptr<KvStoreResultSet>&& /*resultSet*/) {
  return Status::NOT_SUPPORT;
}

Status SingleStore::GetCountWithQuery(const std::string& /*query*/, int32_t& /*count*/) const {
  return Status::NOT_SUPPORT;
}

Status SingleStore::Sync(const std::vector<std::string>& /*deviceIds*/, SyncMode /*mode*/,
                         int32_t /*delayMs*/) {
  return Status::NOT_SUPPORT;
}

Status SingleStore::RemoveDeviceData(const std::string& /*deviceId*/, int32_t /*flags*/) {
  return Status::NOT_SUPPORT;
}

Status SingleStore::RegisterSyncCallback(std::shared_ptr<KvStoreSyncCallback> /*callback*/) {
  return Status::NOT_SUPPORT;
}

Status SingleStore::UnRegisterSyncCallback() {
  return Status::NOT_SUPPORT;
}

Status SingleStore::SetSyncParam(const SyncParam& /*param*/) {
  return Status::NOT_SUPPORT;
}

Status SingleStore::SetCapabilityEnabled(bool /*enabled*/) {
  return Status::NOT_SUPPORT;
}

Status SingleStore::SetCapabilityRange(const std::vector<std::string>& /*localLabels*/,
                                       const std::vector<std::string>& /*remoteLabels*/) {
  return Status::NOT_SUPPORT;
}

}  // namespace KORA::DistributedKv::Client
