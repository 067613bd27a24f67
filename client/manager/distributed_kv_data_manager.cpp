#include "contract/distributed_kv_data_manager.h"

#include <utility>

#include "common/guard.h"
#include "common/settings.h"
#include "device/device_listeners.h"
#include "device/local_device.h"
#include "manager/store_registry.h"
#include "notify/death_notice.h"
#include "store/multi_store.h"
#include "store/single_store.h"

namespace KORA::DistributedKv {

using Client::Guard;
using Client::StoreKind;
using Client::StoreRegistry;

// The stores belong to the process; a manager keeps what is registered with itself.
class [[gnu::visibility("hidden")]] DistributedKvDataManager::Impl {
 public:
  Client::DeviceListeners deviceListeners;
};

namespace {

// Opens a store and hands a `Handle` of it to the callback: exactly once, and empty on failure.
template <typename Handle, typename Interface>
void OpenStore(const Client::StoreName& name, StoreKind kind, const Options& options,
               const std::function<void(Status, std::unique_ptr<Interface>)>& callback) {
  std::unique_ptr<Interface> store;
  const Status status = Guard([&] {
    std::unique_ptr<Client::StoreLease> lease;
    const Status opened = StoreRegistry::Instance().Open(name, kind, options, lease);
    if (opened == Status::SUCCESS) store = std::make_unique<Handle>(std::move(lease));
    return opened;
  });
  Guard([&] {
    callback(status, std::move(store));
    return Status::SUCCESS;
  });
}

}  // namespace

DistributedKvDataManager::DistributedKvDataManager() : impl_(std::make_unique<Impl>()) {
  Guard([] {
    Client::Configuration::Instance().Settle();
    return Status::SUCCESS;
  });
}

DistributedKvDataManager::~DistributedKvDataManager() = default;

void DistributedKvDataManager::GetKvStore(const Options& options, const AppId& appId, const StoreId& storeId,
                                          std::function<void(Status, std::unique_ptr<KvStore>)> callback) {
  OpenStore<Client::MultiStore>({appId.appId, storeId.storeId}, StoreKind::kMulti, options, callback);
}

void DistributedKvDataManager::GetSingleKvStore(
    const Options& options, const AppId& appId, const StoreId& storeId,
    std::function<void(Status, std::unique_ptr<SingleKvStore>)> callback) {
  OpenStore<Client::SingleStore>({appId.appId, storeId.storeId}, StoreKind::kSingle, options, callback);
}

Status DistributedKvDataManager::CloseKvStore(const AppId& appId, const StoreId& storeId,
                                              std::unique_ptr<KvStore> store) {
  // A store closes with the end of its handle, which is the caller's unless it was given here.
  return Guard([&] {
    const Status status = StoreRegistry::Instance().CheckOpen({appId.appId, storeId.storeId});
    store.reset();
    return status;
  });
}

Status DistributedKvDataManager::DeleteKvStore(const AppId& appId, const StoreId& storeId) {
  return Guard([&] { return StoreRegistry::Instance().Delete({appId.appId, storeId.storeId}); });
}

void DistributedKvDataManager::GetAllKvStoreId(const AppId& appId,
                                               std::function<void(Status, std::vector<StoreId>&)> callback) {
  std::vector<StoreId> storeIds;
  const Status status = Guard([&] { return StoreRegistry::Instance().List(appId.appId, storeIds); });
  Guard([&] {
    callback(status, storeIds);
    return Status::SUCCESS;
  });
}

Status DistributedKvDataManager::GetLocalDevice(DeviceInfo& device) {
  return Guard([&] { return Client::FindLocalDevice(device); });
}

// Which devices to list is a choice among those that can be reached, and there is no way to any.
Status DistributedKvDataManager::GetDeviceList(std::vector<DeviceInfo>& devices,
                                               DeviceFilterStrategy /*strategy*/) {
  devices.clear();
  return Status::SUCCESS;
}

Status DistributedKvDataManager::StartWatchDeviceChange(
    std::shared_ptr<DeviceStatusChangeListener> listener) {
  return Guard([&] { return impl_->deviceListeners.Add(std::move(listener)); });
}

Status DistributedKvDataManager::StopWatchDeviceChange(std::shared_ptr<DeviceStatusChangeListener> listener) {
  return Guard([&] { return impl_->deviceListeners.Remove(listener); });
}

void DistributedKvDataManager::RegisterKvStoreServiceDeathRecipient(
    std::shared_ptr<KvStoreDeathRecipient> recipient) {
  Guard([&] {
    if (recipient != nullptr) Client::DeathNotice::Instance().Add(std::move(recipient));
    return Status::SUCCESS;
  });
}

void DistributedKvDataManager::UnRegisterKvStoreServiceDeathRecipient(
    std::shared_ptr<KvStoreDeathRecipient> recipient) {
  Guard([&] {
    Client::DeathNotice::Instance().Remove(recipient);
    return Status::SUCCESS;
  });
}

}  // namespace KORA::DistributedKv
