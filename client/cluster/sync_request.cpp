#include "cluster/sync_request.h"

#include <utility>

#include "common/guard.h"

namespace KORA::DistributedKv::Client::Cluster {

namespace {

// Programs may name any devices.
constexpr size_t kMaxReasons = 1000;  // of one store

struct KeptReasons {
  std::mutex mutex;
  std::map<std::pair<std::string, std::string>, std::map<std::string, std::string>> byStore;
};

KeptReasons& Kept() {
  static auto& kept = *new KeptReasons();  // in use until the process has ended
  return kept;
}

void KeepReasons(const SyncedStore& store, const SyncOutcomes& outcomes) {
  KeptReasons& kept = Kept();
  const std::lock_guard<std::mutex> lock(kept.mutex);
  auto& reasons = kept.byStore[{store.application, store.store}];
  if (reasons.size() + outcomes.size() > kMaxReasons) reasons.clear();
  for (const auto& [device, outcome] : outcomes) reasons[device] = outcome.reason;
}

void Log(const SyncedStore& store, const SyncOutcomes& outcomes) {
  for (const auto& [device, outcome] : outcomes) {
    const int priority = outcome.status == Status::SUCCESS ? KORA_LOG_DEBUG : KORA_LOG_INFO;
    __android_log_print(priority, kLogTag, "store %s: synchronisation with device %s: %s",
                        store.store.c_str(), device.c_str(), outcome.reason.c_str());
  }
}

}  // namespace

SyncRequest::SyncRequest(SyncedStore store, SyncCaller caller, std::vector<std::string> devices,
                         SyncMode mode, int32_t delayMs)
    : store_(std::move(store)),
      devices_(std::move(devices)),
      mode_(mode),
      delayMs_(delayMs),
      caller_(std::move(caller)) {}

SyncRequest::~SyncRequest() {
  End(Status::STORE_NOT_OPEN, "closed");
}

void SyncRequest::End(Status status, const char* reason) noexcept {
  Guard([&] {
    SyncOutcomes outcomes;
    for (const std::string& device : devices_) outcomes[device] = {status, reason};
    Answer(outcomes);
  });
}

void SyncRequest::End(const SyncOutcomes& outcomes) noexcept {
  Guard([&] { Answer(outcomes); });
}

void SyncRequest::Answer(const SyncOutcomes& outcomes) {
  const std::lock_guard<std::mutex> lock(mutex_);
  if (ended_) return;
  SyncResults results;
  for (const auto& [device, outcome] : outcomes) results[device] = outcome.status;
  KeepReasons(store_, outcomes);
  Log(store_, outcomes);
  // Moved away: the end of a callback is code of the program, and belongs onto the callback queue.
  if (caller_.callback != nullptr) SyncCompletions::Instance().Post(std::move(caller_), std::move(results));
  ended_ = true;
}

std::map<std::string, std::string> FindSyncReasons(const std::string& application, const std::string& store) {
  KeptReasons& kept = Kept();
  const std::lock_guard<std::mutex> lock(kept.mutex);
  const auto found = kept.byStore.find({application, store});
  return found == kept.byStore.end() ? std::map<std::string, std::string>() : found->second;
}

}  // namespace KORA::DistributedKv::Client::Cluster
