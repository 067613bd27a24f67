#include "sync/sync_session.h"

#include <algorithm>
#include <utility>

#include "common/log.h"
#include "sync/sync_completions.h"

namespace KORA::DistributedKv::Client {

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

Status SyncSession::Start(const std::vector<std::string>& deviceIds, SyncMode mode, int32_t delayMs) {
  if (const Status status = CheckRequest(deviceIds, mode, delayMs); status != Status::SUCCESS) return status;
  // This device has no way to others, so it knows none of them.
  SyncResults results;
  for (const std::string& device : deviceIds) {
    __android_log_print(KORA_LOG_INFO, kLogTag, "no synchronisation with device %s: it is unknown",
                        device.c_str());
    results[device] = Status::ERROR;
  }
  const std::lock_guard<std::mutex> lock(mutex_);
  if (callback_ != nullptr) SyncCompletions::Instance().Post(callback_, std::move(results));
  return Status::SUCCESS;
}

}  // namespace KORA::DistributedKv::Client
