// Integers in stored bytes: big-endian, so that they sort by value.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace KORA::DistributedKv::Client {

inline constexpr unsigned kByteBits = 8;

template <typename Integer>
void WriteBigEndian(Integer integer, char* out) {
  for (size_t i = sizeof integer; i-- > 0;) {
    out[i] = static_cast<char>(integer & 0xff);
    integer = static_cast<Integer>(integer >> (sizeof integer > 1 ? kByteBits : 0));
  }
}

template <typename Integer>
Integer ReadBigEndian(const char* in) {
  Integer integer = 0;
  for (size_t i = 0; i < sizeof integer; ++i) {
    integer = static_cast<Integer>(integer << (sizeof integer > 1 ? kByteBits : 0));
    integer = static_cast<Integer>(integer | static_cast<unsigned char>(in[i]));
  }
  return integer;
}

template <typename Integer>
void AppendBigEndian(Integer integer, std::string& out) {
  const size_t size = out.size();
  out.resize(size + sizeof integer);
  WriteBigEndian(integer, out.data() + size);
}

// Takes the integer off the front; false: there are too few bytes.
template <typename Integer>
bool TakeBigEndian(std::string_view& bytes, Integer& integer) {
  if (bytes.size() < sizeof integer) return false;
  integer = ReadBigEndian<Integer>(bytes.data());
  bytes.remove_prefix(sizeof integer);
  return true;
}

}  // namespace KORA::DistributedKv::Client
