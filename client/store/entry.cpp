#include "contract/entry.h"

#include <limits>

namespace KORA::DistributedKv {

namespace {

void AppendBlob(const Blob& blob, std::vector<uint8_t>& out) {
  const auto size = static_cast<uint32_t>(blob.Size());
  for (int shift = 24; shift >= 0; shift -= 8) out.push_back(static_cast<uint8_t>(size >> shift));
  out.insert(out.end(), blob.Data().begin(), blob.Data().end());
}

}  // namespace

bool Entry::Flatten(std::vector<uint8_t>& out) const {
  constexpr size_t kMaxSize = std::numeric_limits<uint32_t>::max();
  if (key.Size() > kMaxSize || value.Size() > kMaxSize) return false;
  out.reserve(out.size() + 2 * sizeof(uint32_t) + key.Size() + value.Size());
  AppendBlob(key, out);
  AppendBlob(value, out);
  return true;
}

}  // namespace KORA::DistributedKv
