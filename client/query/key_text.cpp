#include "query/key_text.h"

#include <cstdint>

namespace KORA::DistributedKv::Client {

namespace {

constexpr size_t kLongForm = 4;  // bytes of the characters that modified UTF-8 writes otherwise

void AppendSurrogate(uint32_t surrogate, std::string& out) {
  out.push_back(static_cast<char>(0xe0 | surrogate >> 12));
  out.push_back(static_cast<char>(0x80 | (surrogate >> 6 & 0x3f)));
  out.push_back(static_cast<char>(0x80 | (surrogate & 0x3f)));
}

void AppendSurrogates(std::string_view character, std::string& out) {
  uint32_t code = static_cast<unsigned char>(character[0]) & 0x07U;
  for (const char next : character.substr(1)) code = code << 6 | (static_cast<unsigned char>(next) & 0x3fU);
  code -= 0x10000;
  AppendSurrogate(0xd800 | code >> 10, out);
  AppendSurrogate(0xdc00 | (code & 0x3ff), out);
}

}  // namespace

std::string ToKeyBytes(std::string_view text) {
  std::string bytes;
  for (size_t i = 0; i < text.size(); ++i) {
    if (text[i] == '\0') {
      bytes.append("\xc0\x80");
    } else if (static_cast<unsigned char>(text[i]) >= 0xf0 && i + kLongForm <= text.size()) {
      AppendSurrogates(text.substr(i, kLongForm), bytes);
      i += kLongForm - 1;
    } else {
      bytes.push_back(text[i]);
    }
  }
  return bytes;
}

}  // namespace KORA::DistributedKv::Client
