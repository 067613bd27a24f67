// What the client accepts. Anything beyond is INVALID_ARGUMENT, with a line in the log that names the limit.
#pragma once

#include <algorithm>
#include <cstddef>
#include <string_view>

namespace KORA::DistributedKv::Client {

inline constexpr size_t kMebibyte = size_t{1} << 20;

inline constexpr size_t kMaxIdentifierSize = 128;       // characters; application and store identifiers
inline constexpr size_t kMaxKeySize = 1024;             // bytes; the least is 1
inline constexpr size_t kMaxValueSize = 4 * kMebibyte;  // bytes; the least is 1
// Bytes of all keys and values together, in one batch or one transaction.
inline constexpr size_t kMaxBatchSize = 64 * kMebibyte;
inline constexpr size_t kMaxLabels = 64;      // capability labels, local and remote each
inline constexpr size_t kMaxLabelSize = 128;  // bytes; the least is 1

// 1 to 128 of A-Z a-z 0-9 . _ - and no dot in front: an identifier is also the name of a folder.
inline bool IsIdentifier(std::string_view text) {
  constexpr std::string_view kAllowed = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789._-";
  return !text.empty() && text.size() <= kMaxIdentifierSize && text.front() != '.' &&
         text.find_first_not_of(kAllowed) == std::string_view::npos;
}

}  // namespace KORA::DistributedKv::Client
