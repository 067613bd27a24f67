#include "floor/null_client.h"

#include <array>
#include <cstdio>
#include <memory>
#include <string>
#include <utility>

#include "contract/distributed_kv_data_manager.h"

namespace KORA::DistributedKv {

namespace {

std::vector<Entry> MakeEntries() {
  std::vector<Entry> entries;
  for (size_t i = 0; i < NullClient::kEntryCount; ++i) {
    std::array<char, 21> key{};
    std::snprintf(key.data(), key.size(), "user/%015zu", i);
    entries.emplace_back(Key(key.data()), Value(std::vector<uint8_t>(101, 'v')));
  }
  return entries;
}

class NullCursor : public KvStoreResultSet {
 public:
  int32_t GetCount() const override { return NullClient::kEntryCount; }
  int32_t GetPosition() const override { return 0; }
  bool MoveToFirst() override { return true; }
  bool MoveToLast() override { return true; }
  bool MoveToNext() override { return true; }
  bool MoveToPrevious() override { return true; }
  bool Move(int32_t /*offset*/) override { return true; }
  bool MoveToPosition(int32_t /*position*/) override { return true; }
  bool IsFirst() const override { return true; }
  bool IsLast() const override { return false; }
  bool IsBeforeFirst() const override { return false; }
  bool IsAfterLast() const override { return false; }
  Status GetEntry(Entry& entry) const override {
    entry = NullClient::Entries().front();
    return Status::SUCCESS;
  }
};

class NullStore : public SingleKvStore {
 public:
  Status GetEntries(const Key& /*prefix*/, std::vector<Entry>& entries) const override {
    entries = NullClient::Entries();
    return Status::SUCCESS;
  }
  Status GetEntriesWithQuery(const std::string& /*query*/, std::vector<Entry>& /*entries*/) const override {
    return Status::NOT_SUPPORT;
  }
  void GetResultSet(const Key& /*prefix*/, ResultSetCallback callback) const override {
    callback(Status::SUCCESS, std::make_unique<NullCursor>());
  }
  void GetResultSetWithQuery(const std::string& /*query*/, ResultSetCallback callback) const override {
    callback(Status::NOT_SUPPORT, nullptr);
  }
  Status CloseResultSet(std::unique_ptr<KvStoreResultSet>&& /*resultSet*/) override {
    return Status::SUCCESS;
  }
  Status GetCountWithQuery(const std::string& /*query*/, int32_t& /*count*/) const override {
    return Status::NOT_SUPPORT;
  }
  Status Sync(const std::vector<std::string>& /*deviceIds*/, SyncMode /*mode*/,
              int32_t /*delayMs*/) override {
    return Status::NOT_SUPPORT;
  }
  Status RemoveDeviceData(const std::string& /*deviceId*/, int32_t /*flags*/) override {
    return Status::NOT_SUPPORT;
  }
  StoreId GetStoreId() const override { return {"null"}; }
  Status Delete(const Key& /*key*/) override { return Status::SUCCESS; }
  Status Put(const Key& /*key*/, const Value& /*value*/) override { return Status::SUCCESS; }
  Status Get(const Key& /*key*/, Value& value) const override {
    value = NullClient::Entries().front().value;
    return Status::SUCCESS;
  }
  Status SubscribeKvStore(SubscribeType /*type*/, std::shared_ptr<KvStoreObserver> observer) override {
    observer_ = std::move(observer);
    return Status::SUCCESS;
  }
  Status UnSubscribeKvStore(SubscribeType /*type*/, std::shared_ptr<KvStoreObserver> /*observer*/) override {
    observer_.reset();
    return Status::SUCCESS;
  }
  Status RegisterSyncCallback(std::shared_ptr<KvStoreSyncCallback> /*callback*/) override {
    return Status::NOT_SUPPORT;
  }
  Status UnRegisterSyncCallback() override { return Status::NOT_SUPPORT; }
  Status PutBatch(const std::vector<Entry>& /*entries*/) override { return Status::SUCCESS; }
  Status DeleteBatch(const std::vector<Key>& /*keys*/) override { return Status::SUCCESS; }
  Status StartTransaction() override { return Status::SUCCESS; }
  Status Commit() override { return Status::SUCCESS; }
  Status Rollback() override { return Status::SUCCESS; }
  Status SetSyncParam(const SyncParam& /*param*/) override { return Status::NOT_SUPPORT; }
  Status SetCapabilityEnabled(bool /*enabled*/) override { return Status::NOT_SUPPORT; }
  Status SetCapabilityRange(const std::vector<std::string>& /*localLabels*/,
                            const std::vector<std::string>& /*remoteLabels*/) override {
    return Status::NOT_SUPPORT;
  }
  Status GetSecurityLevel(SecurityLevel& /*level*/) const override { return Status::NOT_SUPPORT; }

  void Notify() {
    if (observer_ != nullptr) observer_->OnChange(NullClient::Change());
  }

 private:
  std::shared_ptr<KvStoreObserver> observer_;
};

// Never destroyed: Java may call until the process ends.
NullStore& TheStore() {
  static auto& store = *new NullStore;
  return store;
}

}  // namespace

namespace NullClient {

SingleKvStore& Store() {
  return TheStore();
}

KvStoreResultSet& Cursor() {
  static auto& cursor = *new NullCursor;
  return cursor;
}

const std::vector<Entry>& Entries() {
  static const auto& entries = *new std::vector<Entry>(MakeEntries());
  return entries;
}

const ChangeNotification& Change() {
  static const auto& change = *new ChangeNotification({Entries().front()}, {}, {}, "this-device");
  return change;
}

void Notify() {
  TheStore().Notify();
}

void Take(const void* /*key*/, size_t /*keySize*/, const void* /*value*/, size_t /*valueSize*/) {}

}  // namespace NullClient

bool Entry::Flatten(std::vector<uint8_t>& /*out*/) const {
  return false;
}

class DistributedKvDataManager::Impl {};

DistributedKvDataManager::DistributedKvDataManager() = default;
DistributedKvDataManager::~DistributedKvDataManager() = default;

void DistributedKvDataManager::GetKvStore(const Options& /*options*/, const AppId& /*appId*/,
                                          const StoreId& /*storeId*/,
                                          std::function<void(Status, std::unique_ptr<KvStore>)> callback) {
  callback(Status::NOT_SUPPORT, nullptr);
}

void DistributedKvDataManager::GetSingleKvStore(
    const Options& /*options*/, const AppId& /*appId*/, const StoreId& /*storeId*/,
    std::function<void(Status, std::unique_ptr<SingleKvStore>)> callback) {
  callback(Status::SUCCESS, std::make_unique<NullStore>());
}

Status DistributedKvDataManager::CloseKvStore(const AppId& /*appId*/, const StoreId& /*storeId*/,
                                              std::unique_ptr<KvStore> /*store*/) {
  return Status::SUCCESS;
}

Status DistributedKvDataManager::DeleteKvStore(const AppId& /*appId*/, const StoreId& /*storeId*/) {
  return Status::SUCCESS;
}

void DistributedKvDataManager::GetAllKvStoreId(const AppId& /*appId*/,
                                               std::function<void(Status, std::vector<StoreId>&)> callback) {
  std::vector<StoreId> none;
  callback(Status::SUCCESS, none);
}

Status DistributedKvDataManager::GetLocalDevice(DeviceInfo& /*device*/) {
  return Status::NOT_SUPPORT;
}

Status DistributedKvDataManager::GetDeviceList(std::vector<DeviceInfo>& /*devices*/,
                                               DeviceFilterStrategy /*strategy*/) {
  return Status::NOT_SUPPORT;
}

Status DistributedKvDataManager::StartWatchDeviceChange(
    std::shared_ptr<DeviceStatusChangeListener> /*listener*/) {
  return Status::NOT_SUPPORT;
}

Status DistributedKvDataManager::StopWatchDeviceChange(
    std::shared_ptr<DeviceStatusChangeListener> /*listener*/) {
  return Status::NOT_SUPPORT;
}

void DistributedKvDataManager::RegisterKvStoreServiceDeathRecipient(
    std::shared_ptr<KvStoreDeathRecipient> /*recipient*/) {}

void DistributedKvDataManager::UnRegisterKvStoreServiceDeathRecipient(
    std::shared_ptr<KvStoreDeathRecipient> /*recipient*/) {}

}  // namespace KORA::DistributedKv
