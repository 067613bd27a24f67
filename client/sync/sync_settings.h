// What a store remembers about its synchronisation: the capability labels and the allowed delay.
//
// In the engine it is one entry about the store, "sync" (see store/record.h). Integers are big-endian.
//   offset  size  field
//   0       1     format: 1
//   1       1     capability: 0 off, 1 on
//   2       4     allowed delay in milliseconds
//   6       2     number of local labels, and for each
//                   2  its size
//                   n  its bytes
//   then    2     number of remote labels, and each in the same way
#pragma once

#include <cstdint>
#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "contract/status.h"
#include "engine/engine.h"

namespace KORA::DistributedKv::Client {

using Labels = std::vector<std::string>;

struct SyncSettings {
  bool capabilityEnabled = false;
  int32_t allowedDelayMs = 0;
  Labels localLabels;
  Labels remoteLabels;
};

std::string EncodeSyncSettings(const SyncSettings& settings);
// Nothing: damaged, or of a format that this client does not know.
std::optional<SyncSettings> ParseSyncSettings(Bytes stored);

// SUCCESS, or INVALID_ARGUMENT with a line in the log that names the limit.
Status CheckLabels(const Labels& labels);

// The settings of one open store. Any thread may call.
class StoredSyncSettings {
 public:
  // SUCCESS; DB_ERROR, also for those of another format; RECOVER_FAILED: they are damaged. What was never
  // stored has the defaults.
  Status Load(const View& engine);

  SyncSettings Get() const;
  // Stores what `change` makes of them, at once and outside any transaction; a failure changes nothing.
  Status Change(Engine& engine, const std::function<void(SyncSettings&)>& change);

 private:
  mutable std::mutex mutex_;
  SyncSettings settings_;
};

}  // namespace KORA::DistributedKv::Client
