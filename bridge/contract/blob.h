// The byte container of keys and values.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace KORA::DistributedKv {

// Owns its bytes; any byte may occur, 0 included. A value type: a moved-from Blob is empty.
class Blob {
 public:
  Blob() = default;
  explicit Blob(const char* text) : bytes_(text, text + std::char_traits<char>::length(text)) {}
  explicit Blob(const std::vector<uint8_t>& bytes) : bytes_(bytes) {}

  const std::vector<uint8_t>& Data() const { return bytes_; }
  size_t Size() const { return bytes_.size(); }
  std::string ToString() const { return {bytes_.begin(), bytes_.end()}; }

 private:
  std::vector<uint8_t> bytes_;
};

using Key = Blob;
using Value = Blob;

}  // namespace KORA::DistributedKv
