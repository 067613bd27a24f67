// The client's lines in the platform log: __android_log_print(KORA_LOG_WARN, kLogTag, ...).
#pragma once

#include "platform_log.h"

namespace KORA::DistributedKv::Client {

inline constexpr const char* kLogTag = "KoraClient";

}  // namespace KORA::DistributedKv::Client
