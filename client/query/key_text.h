// Texts as keys. Keys that Java programs write are modified UTF-8 (JNI specification, "Modified UTF-8
// Strings").
#pragma once

#include <string>
#include <string_view>

namespace KORA::DistributedKv::Client {

// `text` is UTF-8.
std::string ToKeyBytes(std::string_view text);

}  // namespace KORA::DistributedKv::Client
