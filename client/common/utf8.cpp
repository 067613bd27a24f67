#include "common/utf8.h"

#include <array>

namespace KORA::DistributedKv::Client {

namespace {

constexpr uint32_t kFirstSupplementary = 0x10000;
constexpr uint32_t kLastCharacter = 0x10FFFF;
constexpr uint32_t kFirstSurrogate = 0xD800;
constexpr uint32_t kFirstLowSurrogate = 0xDC00;
constexpr uint32_t kLastSurrogate = 0xDFFF;
constexpr unsigned kPayloadBits = 6;  // of each byte after the first
constexpr uint32_t kPayload = 0x3F;

// Bytes of the sequence that the byte begins; 0: it begins none.
size_t SizeOfSequence(unsigned char first) {
  if (first < 0x80) return 1;
  if (first >= 0xC2 && first < 0xE0) return 2;
  if (first >= 0xE0 && first < 0xF0) return 3;
  return first >= 0xF0 && first < 0xF5 ? 4 : 0;
}

// Takes the first character off the text.
std::optional<uint32_t> TakeCharacter(std::string_view& text) {
  constexpr std::array<uint32_t, 5> kLeast = {0, 0, 0x80, 0x800, kFirstSupplementary};
  const auto first = static_cast<unsigned char>(text.front());
  const size_t size = SizeOfSequence(first);
  if (size == 0 || size > text.size()) return std::nullopt;
  uint32_t character = size == 1 ? first : first & (0x7FU >> size);
  for (const char next : text.substr(1, size - 1)) {
    const auto byte = static_cast<unsigned char>(next);
    if ((byte & ~kPayload) != 0x80) return std::nullopt;
    character = character << kPayloadBits | (byte & kPayload);
  }
  const bool surrogate = character >= kFirstSurrogate && character <= kLastSurrogate;
  if (character < kLeast[size] || character > kLastCharacter || surrogate) return std::nullopt;
  text.remove_prefix(size);
  return character;
}

// Three bytes, whatever the number.
void AppendThreeBytes(uint32_t unit, std::string& text) {
  text += static_cast<char>(0xE0 | unit >> (2 * kPayloadBits));
  text += static_cast<char>(0x80 | (unit >> kPayloadBits & kPayload));
  text += static_cast<char>(0x80 | (unit & kPayload));
}

}  // namespace

std::optional<std::string> ToModifiedUtf8(std::string_view utf8) {
  constexpr unsigned kSurrogateBits = 10;
  std::string modified;
  while (!utf8.empty()) {
    const std::string_view rest = utf8;
    const std::optional<uint32_t> character = TakeCharacter(utf8);
    if (!character) return std::nullopt;
    if (*character == 0) {
      modified += "\xC0\x80";
    } else if (*character < kFirstSupplementary) {
      modified += rest.substr(0, rest.size() - utf8.size());
    } else {
      const uint32_t offset = *character - kFirstSupplementary;
      AppendThreeBytes(kFirstSurrogate + (offset >> kSurrogateBits), modified);
      AppendThreeBytes(kFirstLowSurrogate + (offset & ((1U << kSurrogateBits) - 1)), modified);
    }
  }
  return modified;
}

}  // namespace KORA::DistributedKv::Client
