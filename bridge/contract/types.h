// The records that name and describe applications, stores and devices.
#pragma once

#include <cstdint>
#include <string>

namespace KORA::DistributedKv {

// The modified UTF-8 text of a Java string (JNI specification, "Modified UTF-8 Strings").
struct AppId {
  std::string appId;
};

struct StoreId {
  std::string storeId;
};

// Enumerations travel as 32-bit codes. The bridge passes on whatever code Java gives it, so a client must
// expect codes that have no name here.
enum class KvStoreType : int32_t {
  DEVICE_COLLABORATION = 0,  // a single store whose records belong to the device that wrote them
  SINGLE_VERSION = 1,        // a single store with one value a key
  MULTI_VERSION = 2,         // a multi-version store: the one code that the bridge itself distinguishes
};

enum class SecurityLevel : int32_t {
  NO_LEVEL = 0,
};

enum class SubscribeType : int32_t {
  LOCAL = 1,   // changes made on this device
  REMOTE = 2,  // changes that came from other devices
  ALL = 3,
};

enum class DeviceFilterStrategy : int32_t {
  FILTER = 0,
  NO_FILTER = 1,
};

enum class DeviceChangeType : int32_t {
  OFFLINE = 0,
  ONLINE = 1,
};

enum class SyncMode : int32_t {
  PULL = 0,
  PUSH = 1,
  PUSH_PULL = 2,
};

struct Options {
  bool createIfMissing = false;
  bool encrypt = false;
  bool persistent = true;  // the bridge always asks for a store that is kept on disk
  bool backup = false;
  bool autoSync = false;
  SecurityLevel securityLevel = SecurityLevel::NO_LEVEL;
  int32_t conflictPolicy = 2;  // the bridge always passes 2: the newest version of a key wins
  KvStoreType kvStoreType = KvStoreType::DEVICE_COLLABORATION;
  std::string schema;  // JSON or binary; empty: no schema
  int32_t storeOwnerType = 0;
};

struct SyncParam {
  int32_t allowedDelayMs = 0;  // milliseconds
};

struct DeviceInfo {
  std::string deviceId;
  std::string deviceName;
  std::string deviceType;
};

}  // namespace KORA::DistributedKv
