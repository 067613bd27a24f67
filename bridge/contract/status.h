// The result of every store operation.
#pragma once

#include <cstdint>

namespace KORA::DistributedKv {

// 0 is success; every error lies in the block that begins at kStatusBase. A client may answer with a code
// that has no name here: the bridge passes it on and Java sees DEFAULT_DB_ERROR.
enum class Status : int32_t {
  SUCCESS = 0,
  DEFAULT_ERROR = 0x1A30000,
  INVALID_ARGUMENT = 0x1A30001,
  ERROR = 0x1A30002,
  STORE_ALREADY_CLOSED =
      0x1A30003,  // closing answers this for a store that is closed; the bridge takes it as success
  STORE_NOT_OPEN = 0x1A30004,
  STORE_NOT_FOUND = 0x1A30005,
  STORE_ALREADY_SUBSCRIBE = 0x1A30006,
  STORE_NOT_SUBSCRIBE = 0x1A30007,
  KEY_NOT_FOUND = 0x1A30008,
  DB_ERROR = 0x1A30009,
  NOT_SUPPORT = 0x1A30011,
  SCHEMA_MISMATCH = 0x1A30012,
  INVALID_SCHEMA = 0x1A30013,
  READ_ONLY = 0x1A30014,
  INVALID_VALUE_FIELDS = 0x1A30015,
  INVALID_FIELD_TYPE = 0x1A30016,
  CONSTRAIN_VIOLATION = 0x1A30017,
  INVALID_FORMAT = 0x1A30018,
  INVALID_QUERY_FORMAT = 0x1A30019,
  INVALID_QUERY_FIELD = 0x1A3001A,
  RECOVER_SUCCESS = 0x1A3001C,
  RECOVER_FAILED = 0x1A3001D,
  EXCEED_MAX_ACCESS_RATE = 0x1A3001F,
  SECURITY_LEVEL_ERROR = 0x1A30020,
};

}  // namespace KORA::DistributedKv
