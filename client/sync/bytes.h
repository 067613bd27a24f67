// Integers and lengths in byte layouts. Integers are big-endian.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace KORA::DistributedKv::Client::Sync {

template <typename Integer>
void AppendInteger(std::string& out, Integer integer) {
  for (int shift = 8 * (static_cast<int>(sizeof integer) - 1); shift >= 0; shift -= 8) {
    out.push_back(static_cast<char>(integer >> shift & 0xff));
  }
}

// A length of 4 bytes, and the bytes.
inline void AppendBytes(std::string& out, std::string_view bytes) {
  AppendInteger(out, static_cast<uint32_t>(bytes.size()));
  out.append(bytes);
}

// Reads what the functions above wrote. After the first read beyond the end it is not Good and answers zeros.
class ByteReader {
 public:
  explicit ByteReader(std::string_view bytes) : rest_(bytes) {}

  template <typename Integer>
  Integer Read() {
    Integer integer = 0;
    for (const char byte : Take(sizeof integer)) {
      integer = static_cast<Integer>(integer << 8 | static_cast<unsigned char>(byte));
    }
    return integer;
  }
  std::string ReadBytes() { return std::string(Take(Read<uint32_t>())); }

  std::string_view Rest() const { return rest_; }
  bool Good() const { return good_; }
  bool AtEnd() const { return good_ && rest_.empty(); }

 private:
  std::string_view Take(size_t size) {
    good_ = good_ && size <= rest_.size();
    const std::string_view taken = rest_.substr(0, good_ ? size : 0);
    rest_.remove_prefix(taken.size());
    return taken;
  }

  std::string_view rest_;
  bool good_ = true;
};

}  // namespace KORA::DistributedKv::Client::Sync
