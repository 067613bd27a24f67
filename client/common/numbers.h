// Numbers in text.
#pragma once

#include <charconv>
#include <cstdint>
#include <string_view>
#include <system_error>

namespace KORA::DistributedKv::Client {

// Decimal digits and nothing else. Returns whether that is what the text is, and the number within the
// bounds.
inline bool TakeNumber(std::string_view text, uint64_t least, uint64_t greatest, uint64_t& number) {
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  return error == std::errc() && end == text.data() + text.size() && number >= least && number <= greatest;
}

}  // namespace KORA::DistributedKv::Client
