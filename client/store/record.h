// How a store is laid out in its engine.
//
// Keys. The first byte says what the entry is:
//   'd'  a record: the caller's key follows
//   'i'  an entry of an index (schema/index.h)
//   'l'  an entry of the log of local changes (store/change_log.h)
//   'm'  about the store itself: a name follows
//   't'  the tombstone of a deleted record: the caller's key follows
// All other first bytes are free for later use.
//
// Records. Integers are big-endian.
//   offset  size  field
//   0       1     format: 1
//   1       8     version: hybrid logical clock; 48 bits of milliseconds since 1970 UTC, 16 bits of counter
//   9       4     device that wrote the record, by its number in this store; 0: this device
//   13      n     the caller's value, as it is
// A tombstone is a record without a value: when the record was deleted, and where. No key has both. Log and
// tombstones are those of a store that takes part in synchronisation.
//
// About the store.
//   name   size  value
//   clock  8     a version that none of the store's records exceeds
//   cut    8     the position in the log of local changes up to which its entries are none any more
//   joined 1     1: the store takes part in synchronisation
//   state  n     how far that has come: what sync/state.h describes
//   sync   n     what sync/sync_settings.h describes
//   device followed by 4 bytes, the number of another device in this store, from 1
//          n     the device's identifier
// and what schema/catalog.h describes.
#pragma once

#include <array>
#include <cstdint>
#include <optional>

#include "contract/blob.h"
#include "engine/engine.h"
#include "store/hybrid_clock.h"

namespace KORA::DistributedKv::Client {

inline constexpr char kRecordFormat = 1;
inline constexpr size_t kRecordHeadSize = 13;
inline constexpr uint32_t kThisDevice = 0;
inline constexpr Bytes kRecordSpace = "d";
inline constexpr Bytes kIndexSpace = "i";
inline constexpr Bytes kLogSpace = "l";
inline constexpr Bytes kTombstoneSpace = "t";
inline constexpr Bytes kClockKey = "mclock";
inline constexpr Bytes kCutKey = "mcut";
inline constexpr Bytes kJoinedKey = "mjoined";
inline constexpr Bytes kStateKey = "mstate";
inline constexpr Bytes kDeviceSpace = "mdevice";

struct Record {
  Version version = 0;
  uint32_t device = kThisDevice;
  Bytes value;  // borrowed from what was parsed
};

using RecordHead = std::array<char, kRecordHeadSize>;
RecordHead EncodeRecordHead(Version version, uint32_t device);
// Nothing: not a record, or of a format that this client does not know.
std::optional<Record> ParseRecord(Bytes stored);

using VersionBytes = std::array<char, sizeof(Version)>;
VersionBytes EncodeVersion(Version version);
std::optional<Version> ParseVersion(Bytes stored);

inline Bytes ToBytes(const Blob& blob) {
  return {reinterpret_cast<const char*>(blob.Data().data()), blob.Size()};
}
Blob ToBlob(Bytes bytes);

// The engine's key of a record or, for the beginning of a caller's key, of the records that begin with it.
std::string RecordKey(Bytes key);
std::string TombstoneKey(Bytes key);
// The caller's key; the same for a tombstone's.
inline Bytes KeyOfRecord(Bytes engineKey) {
  return engineKey.substr(kRecordSpace.size());
}

}  // namespace KORA::DistributedKv::Client
