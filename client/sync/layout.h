// How a store lies on the hub.
//
// Keys. <root> is <name space>/<application>/<store>/<kind>/, where the kind is "single" or "multi"; the
// parts of it hold no '/' and have no dot in front, so nothing lies in another.
//   <root>s/m/<device>                          the device's marker
//   <root>s/r/<key>                             a record; the caller's key as it is
//   <root>c/<device>/<version>/<number>/<key>   a part of a large value: the version as 16 hexadecimal
//   digits,
//                                               the part's number as 2
//   <name space>/.devices/<device>              the device's presence, bound to its lease
// Everything below <root>s/ is watched; each transaction that changes something there writes one marker too.
//
// A record. Integers are big-endian; a text is its length in 4 bytes and its bytes.
//   size  field
//   1     format: 1
//   1     flags: 1 a tombstone, 2 the value is in parts
//   8     version: hybrid logical clock; 48 bits of milliseconds since 1970 UTC, 16 bits of counter
//   8     version at which it was put onto the hub, by the clock of the device that did so
//   text  the device that wrote it
//   n     the value; if in parts: 4 bytes its size, 8 bytes its digest (FNV-1a, 64 bits)
//
// A marker.
//   1     format: 1
//   8     incarnation: changes when its device has found that the hub lost transactions
//   8     number of the device's last transaction: a version of its clock, so no two are the same
//   4     security level of the device's store
//   4+n   count, then that many texts: the labels that the device bears
//
// A presence: two texts, the device's name and its type.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "sync/conflict.h"
#include "sync/hub.h"

namespace KORA::DistributedKv::Client::Sync {

// Versions from here on are no times, but damage: one of them would bring all clocks to their end.
inline constexpr Version kVersionLimit = Version{1} << 62;

// A value above this travels in parts, so that a commit of many or large values can be one transaction.
inline constexpr size_t kInlineSize = size_t{64} << 10;
inline constexpr size_t kPartSize = size_t{1} << 20;

struct KeyRange {
  std::string begin;
  std::string end;
};
// All keys that begin with `prefix`, which is not empty.
KeyRange RangeOfPrefix(const std::string& prefix);

inline std::string PresencePrefix(const std::string& nameSpace) {
  return nameSpace + "/.devices/";
}

class StoreKeys {
 public:
  explicit StoreKeys(const std::string& root)
      : state_(root + "s/"), markers_(root + "s/m/"), records_(root + "s/r/"), parts_(root + "c/") {}

  const std::string& State() const { return state_; }
  const std::string& Markers() const { return markers_; }
  const std::string& Records() const { return records_; }
  const std::string& Parts() const { return parts_; }
  std::string Marker(const std::string& device) const { return markers_ + device; }
  std::string Record(const std::string& key) const { return records_ + key; }
  std::string Part(const std::string& key, const Stamp& stamp, size_t number) const;

 private:
  std::string state_, markers_, records_, parts_;
};

// What follows `prefix`, if `key` begins with it.
std::optional<std::string> After(const std::string& prefix, const std::string& key);

struct PartName {
  std::string key;
  Stamp stamp;
};
std::optional<PartName> ParsePartKey(const std::string& prefix, const std::string& key);

struct HubRecord {
  Content content;  // without its value, if that is in parts
  Version pushed = 0;
  bool inParts = false;
  uint32_t size = 0;    // of the value in parts
  uint64_t digest = 0;  // likewise
};
std::string Encode(const HubRecord& record);
// Nothing: damaged, or of a format that this client does not know.
std::optional<HubRecord> ParseRecord(std::string_view bytes);

uint64_t Digest(std::string_view bytes);
inline size_t CountParts(size_t size) {
  return (size + kPartSize - 1) / kPartSize;
}

struct Marker {
  Version incarnation = 0;
  Version number = 0;
  int32_t securityLevel = 0;
  std::vector<std::string> labels;
};
std::string Encode(const Marker& marker);
std::optional<Marker> ParseMarker(std::string_view bytes);

}  // namespace KORA::DistributedKv::Client::Sync
