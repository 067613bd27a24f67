#include "contract/distributed_kv_data_manager.h"

#include <utility>

#include "cluster/service.h"
#include "common/guard.h"
#include "common/settings.h"
#include "device/device_listeners.h"
#include "device/local_device.h"
#include "device/other_devices.h"
#include "manager/store_registry.h"
#include "notify/death_notice.h"
#include "store/multi_store.h"
#include "store/single_store.h"

namespace KORA::DistributedKv {

using Client::DeviceListeners;
using Client::Guard;
using Client::StoreKind;
using Client::StoreRegistry;
using Client::Cluster::Service;

// The stores belong to the process; a manager keeps what is registered with itself.
class [[gnu::visibility("hidden")]] DistributedKvDataManager::Impl {
 public:
  Impl() = default;
  Impl(const Impl&) = delete;
  Impl& operator=(const Impl&) = delete;
  ~Impl() {
    DeviceListeners::Instance().DropOwned(this);
  }
};

namespace {

// Opens a store and hands a handle of it, which `make` makes of the lease, to the callback: exactly once, and
// empty on failure.
template <typename Interface, typename Make>
void OpenStore(const Client::StoreName& name, StoreKind kind, const Options& options, Make make,
               const std::function<void(Status, std::unique_ptr<Interface>)>& callback) {
  std::unique_ptr<Interface> store;
  const Status status = Guard([&] {
    std::unique_ptr<Client::StoreLease> lease;
    const Status opened = StoreRegistry::Instance().Open(name, kind, options, lease);
    if (opened == Status::SUCCESS) store = make(std::move(lease));
    return opened;
  });
  Guard([&] { callback(status, std::move(store)); });
}

}  // namespace

DistributedKvDataManager::DistributedKvDataManager() : impl_(std::make_unique<Impl>()) {
  Guard([] { Client::Configuration::Instance().Settle(); });
}

DistributedKvDataManager::~DistributedKvDataManager() = default;

void DistributedKvDataManager::GetKvStore(const Options& options, const AppId& appId, const StoreId& storeId,
                                          std::function<void(Status, std::unique_ptr<KvStore>)> callback) {
  const auto make = [](auto lease) { return std::make_unique<Client::MultiStore>(std::move(lease)); };
  OpenStore({appId.appId, storeId.storeId}, StoreKind::kMulti, options, make, callback);
}

void DistributedKvDataManager::GetSingleKvStore(
    const Options& options, const AppId& appId, const StoreId& storeId,
    std::function<void(Status, std::unique_ptr<SingleKvStore>)> callback) {
  const auto make = [&appId](auto lease) {
    return std::make_unique<Client::SingleStore>(std::move(lease), appId.appId);
  };
  OpenStore({appId.appId, storeId.storeId}, StoreKind::kSingle, options, make, callback);
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
  Guard([&] { callback(status, storeIds); });
}

Status DistributedKvDataManager::GetLocalDevice(DeviceInfo& device) {
  return Guard([&] { return Client::FindLocalDevice(device); });
}

Status DistributedKvDataManager::GetDeviceList(std::vector<DeviceInfo>& devices,
                                               DeviceFilterStrategy strategy) {
  return Guard([&] {
    if (Service* service = Service::Find()) service->AwaitDevices();
    devices = Client::OtherDevices::Instance().List(strategy);
  });
}

Status DistributedKvDataManager::StartWatchDeviceChange(
    std::shared_ptr<DeviceStatusChangeListener> listener) {
  return Guard([&] {
    const Status status = DeviceListeners::Instance().Add(impl_.get(), std::move(listener));
    if (status == Status::SUCCESS) Service::Find();
    return status;
  });
}

Status DistributedKvDataManager::StopWatchDeviceChange(std::shared_ptr<DeviceStatusChangeListener> listener) {
  return Guard([&] { return DeviceListeners::Instance().Remove(impl_.get(), listener); });
}

void DistributedKvDataManager::RegisterKvStoreServiceDeathRecipient(
    std::shared_ptr<KvStoreDeathRecipient> recipient) {
  Guard([&] {
    if (recipient != nullptr) Client::DeathNotice::Instance().Add(std::move(recipient));
  });
}

void DistributedKvDataManager::UnRegisterKvStoreServiceDeathRecipient(
    std::shared_ptr<KvStoreDeathRecipient> recipient) {
  Guard([&] { Client::DeathNotice::Instance().Remove(recipient); });
}

}  // namespace KORA::DistributedKv
