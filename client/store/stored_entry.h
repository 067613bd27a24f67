// What loading a store answers for an entry about the store that makes no sense. Each leaves a line in the
// log.
#pragma once

#include "contract/status.h"

namespace KORA::DistributedKv::Client {

// RECOVER_FAILED: damaged.
Status EntryIsDamaged(const char* what);

// DB_ERROR: of a format that this client does not know. A backup would bring the same back.
Status EntryIsOfAnotherVersion(const char* what);

}  // namespace KORA::DistributedKv::Client
