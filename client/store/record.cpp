#include "store/record.h"

#include <string>
#include <vector>

#include "common/big_endian.h"

namespace KORA::DistributedKv::Client {

namespace {

constexpr size_t kVersionOffset = 1;
constexpr size_t kDeviceOffset = kVersionOffset + sizeof(Version);

std::string Join(Bytes space, Bytes key) {
  std::string joined;
  joined.reserve(space.size() + key.size());
  return joined.append(space).append(key);
}

}  // namespace

RecordHead EncodeRecordHead(Version version, uint32_t device) {
  RecordHead head;
  head[0] = kRecordFormat;
  WriteBigEndian(version, head.data() + kVersionOffset);
  WriteBigEndian(device, head.data() + kDeviceOffset);
  return head;
}

std::optional<Record> ParseRecord(Bytes stored) {
  if (stored.size() < kRecordHeadSize || stored.front() != kRecordFormat) return std::nullopt;
  return Record{ReadBigEndian<Version>(stored.data() + kVersionOffset),
                ReadBigEndian<uint32_t>(stored.data() + kDeviceOffset), stored.substr(kRecordHeadSize)};
}

VersionBytes EncodeVersion(Version version) {
  VersionBytes bytes;
  WriteBigEndian(version, bytes.data());
  return bytes;
}

std::optional<Version> ParseVersion(Bytes stored) {
  if (stored.size() != sizeof(Version)) return std::nullopt;
  return ReadBigEndian<Version>(stored.data());
}

Blob ToBlob(Bytes bytes) {
  // A blob copies what it is made of, so the vector in between is kept for the next one.
  constexpr size_t kMaxKept = 65'536;
  thread_local std::vector<uint8_t> kept;
  const auto* const begin =
      reinterpret_cast<const uint8_t*>(bytes.data());  // of one type they are copied at once
  const auto* const end = begin + bytes.size();
  if (bytes.size() > kMaxKept) return Blob(std::vector<uint8_t>(begin, end));
  kept.assign(begin, end);
  return Blob(kept);
}

std::string TombstoneKey(Bytes key) {
  return Join(kTombstoneSpace, key);
}

std::string RecordKey(Bytes key) {
  return Join(kRecordSpace, key);
}

}  // namespace KORA::DistributedKv::Client
