#include "cluster/sync_session.h"

#include <algorithm>
#include <utility>

#include "cluster/service.h"
#include "common/log.h"

namespace KORA::DistributedKv::Client::Cluster {

namespace {

Status Refuse(const char* reason) {
  __android_log_print(KORA_LOG_WARN, kLogTag, "refused to synchronise: %s", reason);
  return Status::INVALID_ARGUMENT;
}

Status CheckRequest(const std::vector<std::string>& deviceIds, SyncMode mode, int32_t delayMs) {
  const bool unnamed =
      std::any_of(deviceIds.begin(), deviceIds.end(), [](const std::string& id) { return id.empty(); });
  if (deviceIds.empty()) return Refuse("no device is named");
  if (unnamed) return Refuse("a device's identifier is empty");
  if (mode != SyncMode::PULL && mode != SyncMode::PUSH && mode != SyncMode::PUSH_PULL) {
    return Refuse("the mode is none of 0 to 2");
  }
  return delayMs < 0 ? Refuse("the delay is negative") : Status::SUCCESS;
}

}  // namespace

Status SyncSession::Register(std::shared_ptr<KvStoreSyncCallback> callback) {
  if (callback == nullptr) return Status::INVALID_ARGUMENT;
  const std::lock_guard<std::mutex> lock(mutex_);
  callback_.swap(callback);
  return Status::SUCCESS;
}

Status SyncSession::Unregister() {
  std::shared_ptr<KvStoreSyncCallback> gone;  // ends outside the lock: its end is code of the program
  const std::lock_guard<std::mutex> lock(mutex_);
  gone.swap(callback_);
  return gone == nullptr ? Status::STORE_NOT_SUBSCRIBE : Status::SUCCESS;
}

SyncCaller SyncSession::Caller() {
  const std::lock_guard<std::mutex> lock(mutex_);
  return {callback_, TakeSyncNumber()};
}

Status SyncSession::Start(const StoreLease& lease, const std::vector<std::string>& deviceIds, SyncMode mode,
                          int32_t delayMs) {
  const auto request = std::make_shared<SyncRequest>(SyncedStore{application_, lease.Id().storeId}, Caller(),
                                                     deviceIds, mode, delayMs);
  Status status = CheckRequest(deviceIds, mode, delayMs);
  if (status != Status::SUCCESS) {
    request->End(status, "refused");
    return status;
  }
  status = lease.Call([&](const Store& store) {
    if (store.IsReadOnly()) {
      request->End(Status::READ_ONLY, "the store may only be read");
    } else if (Service* service = Service::Find()) {
      service->Synchronise(store, request);
    } else {
      request->End(Status::ERROR, "no hub is configured");
    }
    return Status::SUCCESS;
  });
  if (status != Status::SUCCESS) {
    request->End(status, status == Status::DB_ERROR ? "the store has failed" : "the store is not open");
  }
  return status;
}

}  // namespace KORA::DistributedKv::Client::Cluster
