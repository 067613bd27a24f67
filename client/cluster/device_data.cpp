#include "cluster/device_data.h"

#include <mutex>
#include <optional>

#include "cluster/service.h"
#include "device/local_device.h"
#include "store/store_replica.h"
#include "sync/store_sync.h"

namespace KORA::DistributedKv::Client::Cluster {

Status RemoveDeviceData(Store& store, const std::string& device) {
  if (store.IsReadOnly()) return Status::READ_ONLY;
  DeviceInfo self;
  if (const Status status = FindLocalDevice(self); status != Status::SUCCESS) return status;
  if (device == self.deviceId) return store.RemoveDeviceData(device);
  if (!store.HasJoined()) return store.RemoveDeviceData(device);
  // Here, since the service's thread must not wait: it is that of all stores.
  store.Observers().AwaitRoom(Origin::kLocal);
  if (Service* service = Service::Running()) return service->RemoveDeviceData(store, device);
  return ForgetDevice(store.shared_from_this(), self.deviceId, device);
}

Status ForgetDevice(const std::shared_ptr<Store>& store, const std::string& self, const std::string& device) {
  static auto& taking_turns = *new std::mutex();
  const std::lock_guard<std::mutex> lock(taking_turns);
  std::unique_ptr<StoreReplica> replica;
  if (const Status status = StoreReplica::Open(store, replica); status != Status::SUCCESS) return status;
  std::optional<Sync::SyncState> state = Sync::ParseState(replica->State());
  return state ? Sync::ForgetDevice(*replica, *state, self, device) : Status::DB_ERROR;
}

}  // namespace KORA::DistributedKv::Client::Cluster
