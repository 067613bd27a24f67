// One call of Sync, and what has become of it.
#pragma once

#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "cluster/sync_completions.h"
#include "contract/status.h"
#include "contract/types.h"

namespace KORA::DistributedKv::Client::Cluster {

// How the synchronisation with one device ended; the reason is an English text in modified UTF-8.
struct SyncOutcome {
  Status status = Status::ERROR;
  std::string reason;
};
// By device identifier.
using SyncOutcomes = std::map<std::string, SyncOutcome>;

// Which store, as the program names it.
struct SyncedStore {
  std::string application;
  std::string store;
};

// Is answered exactly once: by the first End, at the latest when nobody has the request any more. The answer
// goes through the caller's callback, if there is one, on the callback queue; the reasons are kept. Any
// thread.
class SyncRequest {
 public:
  SyncRequest(SyncedStore store, SyncCaller caller, std::vector<std::string> devices, SyncMode mode,
              int32_t delayMs);
  SyncRequest(const SyncRequest&) = delete;
  SyncRequest& operator=(const SyncRequest&) = delete;
  ~SyncRequest();

  const std::vector<std::string>& Devices() const { return devices_; }
  SyncMode Mode() const { return mode_; }
  int32_t DelayMs() const { return delayMs_; }

  void End(const SyncOutcomes& outcomes) noexcept;
  // The same for each device.
  void End(Status status, const char* reason) noexcept;

 private:
  void Answer(const SyncOutcomes& outcomes);

  const SyncedStore store_;
  const std::vector<std::string> devices_;
  const SyncMode mode_;
  const int32_t delayMs_;
  std::mutex mutex_;
  bool ended_ = false;
  SyncCaller caller_;
};

// Why devices were synchronised or not: for each device of a store the reason of the last call that named it.
// Any thread.
std::map<std::string, std::string> FindSyncReasons(const std::string& application, const std::string& store);

}  // namespace KORA::DistributedKv::Client::Cluster
