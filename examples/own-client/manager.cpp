// The entry points that the bridge is linked against.
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "contract/distributed_kv_data_manager.h"
#include "contract/entry.h"
#include "guarded.h"
#include "multi_store.h"
#include "single_store.h"
#include "table.h"

namespace KORA::DistributedKv {

using OwnClient::Guarded;
using OwnClient::MultiStore;
using OwnClient::SingleStore;
using OwnClient::Table;

namespace {

bool HasKind(const Table& table, const Options& options) {
  constexpr auto kMulti = KvStoreType::MULTI_VERSION;
  return (table.OpenedWith().kvStoreType == kMulti) == (options.kvStoreType == kMulti);
}

void AppendNumber(std::vector<uint8_t>& out, uint32_t number) {
  for (int shift = 24; shift >= 0; shift -= 8) out.push_back(static_cast<uint8_t>(number >> shift));
}

}  // namespace

// This library, being the client, also gives Entry its tables: they go where the first virtual operation is.
bool Entry::Flatten(std::vector<uint8_t>& out) const {
  if (key.Size() > UINT32_MAX || value.Size() > UINT32_MAX) return false;
  for (const Blob* blob : {&key, &value}) {
    AppendNumber(out, static_cast<uint32_t>(blob->Size()));
    out.insert(out.end(), blob->Data().begin(), blob->Data().end());
  }
  return true;
}

// The stores of all applications. A store stays, closed or open, until it is deleted or the process ends.
class [[gnu::visibility("hidden")]] DistributedKvDataManager::Impl {
 public:
  // `Store` is the kind of store object that the caller gets through its callback.
  template <typename Store, typename Callback>
  void Open(const Options& options, const AppId& appId, const StoreId& storeId, const Callback& callback) {
    std::unique_ptr<Store> store;
    const Status status = Guarded([&] {
      const std::lock_guard lock(mutex_);
      std::shared_ptr<Table> table;
      const Status found = FindOrCreate(options, appId, storeId, table);
      if (found == Status::SUCCESS) store = std::make_unique<Store>(std::move(table));
      return found;
    });
    callback(status, std::move(store));
  }

  Status Close(const AppId& appId, const StoreId& storeId) {
    const std::lock_guard lock(mutex_);
    const Stores& stores = applications_[appId.appId];
    const auto found = stores.find(storeId.storeId);
    return found != stores.end() && found->second->IsOpen() ? Status::SUCCESS : Status::STORE_NOT_OPEN;
  }

  Status Delete(const AppId& appId, const StoreId& storeId) {
    const std::lock_guard lock(mutex_);
    Stores& stores = applications_[appId.appId];
    const auto found = stores.find(storeId.storeId);
    if (found == stores.end()) return Status::STORE_NOT_FOUND;
    if (found->second->IsOpen()) return Status::ERROR;
    stores.erase(found);
    return Status::SUCCESS;
  }

  std::vector<StoreId> List(const AppId& appId) {
    const std::lock_guard lock(mutex_);
    std::vector<StoreId> ids;
    for (const auto& [id, table] : applications_[appId.appId]) ids.push_back({id});
    return ids;
  }

 private:
  using Stores = std::map<std::string, std::shared_ptr<Table>>;

  Status FindOrCreate(const Options& options, const AppId& appId, const StoreId& storeId,
                      std::shared_ptr<Table>& table) {
    if (options.encrypt || options.backup || options.autoSync || !options.schema.empty()) {
      return Status::NOT_SUPPORT;
    }
    if (appId.appId.empty() || storeId.storeId.empty()) return Status::INVALID_ARGUMENT;
    Stores& stores = applications_[appId.appId];
    const auto found = stores.find(storeId.storeId);
    if (found != stores.end()) {
      table = found->second;
      return HasKind(*table, options) ? Status::SUCCESS : Status::INVALID_ARGUMENT;
    }
    if (!options.createIfMissing) return Status::STORE_NOT_FOUND;
    table = std::make_shared<Table>(storeId, options);
    stores.emplace(storeId.storeId, table);
    return Status::SUCCESS;
  }

  std::mutex mutex_;
  std::map<std::string, Stores> applications_;
};

DistributedKvDataManager::DistributedKvDataManager() : impl_(std::make_unique<Impl>()) {}
DistributedKvDataManager::~DistributedKvDataManager() = default;

void DistributedKvDataManager::GetKvStore(const Options& options, const AppId& appId, const StoreId& storeId,
                                          std::function<void(Status, std::unique_ptr<KvStore>)> callback) {
  impl_->Open<MultiStore>(options, appId, storeId, callback);
}

void DistributedKvDataManager::GetSingleKvStore(
    const Options& options, const AppId& appId, const StoreId& storeId,
    std::function<void(Status, std::unique_ptr<SingleKvStore>)> callback) {
  impl_->Open<SingleStore>(options, appId, storeId, callback);
}

// A store object counts itself out when it is deleted, which the caller does next.
Status DistributedKvDataManager::CloseKvStore(const AppId& appId, const StoreId& storeId,
                                              std::unique_ptr<KvStore> /*store*/) {
  return Guarded([&] { return impl_->Close(appId, storeId); });
}

Status DistributedKvDataManager::DeleteKvStore(const AppId& appId, const StoreId& storeId) {
  return Guarded([&] { return impl_->Delete(appId, storeId); });
}

void DistributedKvDataManager::GetAllKvStoreId(const AppId& appId,
                                               std::function<void(Status, std::vector<StoreId>&)> callback) {
  std::vector<StoreId> ids;
  const Status status = Guarded([&] {
    ids = impl_->List(appId);
    return Status::SUCCESS;
  });
  callback(status, ids);
}

// There are no devices but this one, and no service that could die.
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
