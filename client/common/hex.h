// Bytes as text of two digits each.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace KORA::DistributedKv::Client {

inline constexpr std::string_view kHexDigits = "0123456789abcdef";

// In lower case.
inline std::string ToHex(std::string_view bytes) {
  std::string text;
  text.reserve(2 * bytes.size());
  for (const char character : bytes) {
    const auto byte = static_cast<unsigned char>(character);
    text.append({kHexDigits[byte >> 4], kHexDigits[byte & 15]});
  }
  return text;
}

// False when `text` is not an even number of digits in lower case.
inline bool FromHex(std::string_view text, std::string& bytes) {
  bytes.clear();
  if (text.size() % 2 != 0) return false;
  for (size_t i = 0; i < text.size(); i += 2) {
    const size_t high = kHexDigits.find(text[i]);
    const size_t low = kHexDigits.find(text[i + 1]);
    if (high == std::string_view::npos || low == std::string_view::npos) return false;
    bytes += static_cast<char>(high << 4 | low);
  }
  return true;
}

}  // namespace KORA::DistributedKv::Client
