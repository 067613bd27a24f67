// How a process configures the client.
//
//   name            environment               values                            default
//   home            KORA_DATA_HOME            a folder                          $XDG_DATA_HOME/kora-data,
//   else
//                                                                               ~/.local/share/kora-data
//   durability      KORA_DATA_DURABILITY      process, power                    process
//   memory.budget   KORA_DATA_MEMORY_BUDGET   bytes, 8 MiB to 64 GiB            64 MiB
//   encryption.key.file
//                   KORA_DATA_KEY_FILE        a file                            .key in the home folder
//   backup.interval KORA_DATA_BACKUP_INTERVAL seconds, 1 to 86400               900
//   access          KORA_DATA_ACCESS          read-write, read-only             read-write
//   rate.limit      KORA_DATA_RATE_LIMIT      operations a second on a store,   0
//                                             to 1000000; 0: no limit
//   device.name                               1 to 128 bytes of UTF-8           the host's name
//   device.type                               1 to 128 bytes of UTF-8           unknown
//   cluster....                               cluster_settings.h says which
//
// A name that the program configured wins over the environment, that over the properties file which
// KORA_DATA_CONFIG names (lines "name=value"), and that over the default.
#pragma once

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <mutex>
#include <optional>
#include <string>

#include "common/cluster_settings.h"
#include "common/properties.h"
#include "contract/status.h"

namespace KORA::DistributedKv::Client {

enum class Durability {
  kProcess,  // a returned write survives the end of the process, however it ends
  kPower,    // and the end of the operating system too: each write waits for the disk
};

enum class Access {
  kReadWrite,
  kReadOnly,  // nothing is written, neither records nor what goes with them
};

struct Settings {
  std::filesystem::path home;  // absolute
  Durability durability = Durability::kProcess;
  uint64_t memoryBudget = uint64_t{64} << 20;  // bytes: block cache and write buffers of all stores together
  std::filesystem::path keyFile;               // absolute
  std::chrono::seconds backupInterval{900};
  Access access = Access::kReadWrite;
  uint64_t rateLimit = 0;  // operations a second on one store; 0: no limit
  std::string deviceName;  // UTF-8, as the type is
  std::string deviceType = "unknown";
  ClusterSettings cluster;
};

// The value of an environment variable, or null.
using Environment = std::function<const char*(const char* name)>;

// Either the settings or, in ASCII, what is wrong with them and what is allowed.
struct ResolvedSettings {
  std::optional<Settings> settings;
  std::string error;
};

ResolvedSettings ResolveSettings(const Properties& configured, const Environment& environment);

// The one configuration of the process. Any thread may call.
class Configuration {
 public:
  static Configuration& Instance();

  // Takes all of the values, or none and says, in ASCII, what is wrong. Empty text: taken.
  std::string Configure(const Properties& values);

  // What holds for the process; the first call settles it, and Configure refuses from then on.
  const ResolvedSettings& Settle();

 private:
  std::mutex mutex_;
  Properties configured_;
  std::optional<ResolvedSettings> settled_;
};

// The settings of the process; or INVALID_ARGUMENT, with a line in the log that says what is wrong with them.
Status FindSettings(const Settings*& settings);

}  // namespace KORA::DistributedKv::Client
