// This device, as others know it.
#pragma once

#include "contract/status.h"
#include "contract/types.h"

namespace KORA::DistributedKv::Client {

// Its identifier from the home folder, name and type from the settings; the texts are modified UTF-8. The
// first success holds for the process: also an identifier that is kept nowhere, since the home folder has
// none and is only read. SUCCESS; INVALID_ARGUMENT: the settings are bad; DB_ERROR: there is no identifier
// and none can be kept.
Status FindLocalDevice(DeviceInfo& device);

}  // namespace KORA::DistributedKv::Client
