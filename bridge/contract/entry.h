// A key with its value.
#pragma once

#include <cstdint>
#include <utility>
#include <vector>

#include "contract/blob.h"
#include "contract/parcelable.h"

namespace KORA::DistributedKv {

// The virtual base and the leading operation are part of the binary contract: the client library provides
// `Flatten`, and with it the class's tables.
struct [[gnu::visibility("default")]] Entry : public virtual Parcelable {
  Entry() = default;
  Entry(Key entryKey, Value entryValue) : key(std::move(entryKey)), value(std::move(entryValue)) {}
  Entry(const Entry&) = default;
  Entry(Entry &&) noexcept = default;
  Entry& operator=(const Entry&) = default;
  Entry& operator=(Entry&&) noexcept = default;

  // As key size (4 bytes, big-endian), key bytes, value size (4 bytes, big-endian), value bytes; a size that
  // does not fit into 4 bytes can't be written. The bridge never calls it.
  bool Flatten(std::vector<uint8_t> & out) const override;

  ~Entry() override = default;

  Key key;
  Value value;
};

}  // namespace KORA::DistributedKv
