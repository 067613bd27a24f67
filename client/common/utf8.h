// Text encodings: UTF-8 (RFC 3629), and modified UTF-8, in which text crosses to Java.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace KORA::DistributedKv::Client {

// The text in modified UTF-8 (JNI specification, "Modified UTF-8 Strings"): NUL takes two bytes, and a
// character beyond U+FFFF is a pair of surrogates of three bytes each. Nothing: it is not UTF-8.
std::optional<std::string> ToModifiedUtf8(std::string_view utf8);

}  // namespace KORA::DistributedKv::Client
