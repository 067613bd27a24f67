// The entry point of the store client.
#pragma once

#include <functional>
#include <memory>
#include <vector>

#include "contract/device_status_change_listener.h"
#include "contract/kv_store.h"
#include "contract/kv_store_death_recipient.h"
#include "contract/single_kv_store.h"
#include "contract/status.h"
#include "contract/types.h"

namespace KORA::DistributedKv {

// Declared here, defined by the client library. Any thread may call. Callbacks that are passed as
// std::function run exactly once, on the calling thread, before the operation returns.
class [[gnu::visibility("default")]] DistributedKvDataManager {
 public:
  DistributedKvDataManager();
  DistributedKvDataManager(const DistributedKvDataManager&) = delete;
  DistributedKvDataManager& operator=(const DistributedKvDataManager&) = delete;
  ~DistributedKvDataManager();

  // The store is empty on failure. The bridge owns a store that it was given until it deletes it.
  void GetKvStore(const Options& options, const AppId& appId, const StoreId& storeId,
                  std::function<void(Status, std::unique_ptr<KvStore>)> callback);
  void GetSingleKvStore(const Options& options, const AppId& appId, const StoreId& storeId,
                        std::function<void(Status, std::unique_ptr<SingleKvStore>)> callback);

  // Closes by identifiers: the bridge passes an empty pointer and deletes the store object itself afterwards.
  Status CloseKvStore(const AppId& appId, const StoreId& storeId, std::unique_ptr<KvStore> store);
  Status DeleteKvStore(const AppId& appId, const StoreId& storeId);
  void GetAllKvStoreId(const AppId& appId, std::function<void(Status, std::vector<StoreId>&)> callback);

  Status GetLocalDevice(DeviceInfo & device);
  Status GetDeviceList(std::vector<DeviceInfo> & devices, DeviceFilterStrategy strategy);
  // The client shares a listener or recipient until it is taken back.
  Status StartWatchDeviceChange(std::shared_ptr<DeviceStatusChangeListener> listener);
  Status StopWatchDeviceChange(std::shared_ptr<DeviceStatusChangeListener> listener);
  void RegisterKvStoreServiceDeathRecipient(std::shared_ptr<KvStoreDeathRecipient> recipient);
  void UnRegisterKvStoreServiceDeathRecipient(std::shared_ptr<KvStoreDeathRecipient> recipient);

 private:
  class Impl;
  std::unique_ptr<Impl> impl_;
};

}  // namespace KORA::DistributedKv
