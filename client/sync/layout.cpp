#include "sync/layout.h"

#include <array>
#include <cstdio>
#include <cstdlib>

#include "common/limits.h"
#include "sync/bytes.h"

namespace KORA::DistributedKv::Client::Sync {

namespace {

constexpr uint8_t kHubFormat = 1;
constexpr uint8_t kDeletedFlag = 1;
constexpr uint8_t kPartsFlag = 2;
constexpr size_t kVersionDigits = 16;

bool IsVersion(Version version) {
  return version < kVersionLimit;
}

std::string ToHex(uint64_t number, int digits) {
  std::array<char, kVersionDigits + 1> text{};
  std::snprintf(text.data(), text.size(), "%0*llx", digits, static_cast<unsigned long long>(number));
  return text.data();
}

// Takes what is in front of the next '/', and that.
std::optional<std::string> TakeSegment(std::string& rest) {
  const size_t slash = rest.find('/');
  if (slash == std::string::npos) return std::nullopt;
  const std::string segment = rest.substr(0, slash);
  rest.erase(0, slash + 1);
  return segment;
}

}  // namespace

KeyRange RangeOfPrefix(const std::string& prefix) {
  std::string end = prefix;
  while (!end.empty() && static_cast<unsigned char>(end.back()) == 0xff) end.pop_back();
  if (!end.empty()) ++end.back();
  return {prefix, end};
}

std::string StoreKeys::Part(const std::string& key, const Stamp& stamp, size_t number) const {
  return parts_ + stamp.device + '/' + ToHex(stamp.version, kVersionDigits) + '/' + ToHex(number, 2) + '/' +
         key;
}

std::optional<std::string> After(const std::string& prefix, const std::string& key) {
  if (key.compare(0, prefix.size(), prefix) != 0) return std::nullopt;
  return key.substr(prefix.size());
}

std::optional<PartName> ParsePartKey(const std::string& prefix, const std::string& key) {
  std::optional<std::string> rest = After(prefix, key);
  if (!rest) return std::nullopt;
  const auto device = TakeSegment(*rest);
  const auto version = TakeSegment(*rest);
  const auto number = TakeSegment(*rest);
  if (!number || version->size() != kVersionDigits) return std::nullopt;
  return PartName{*rest, {std::strtoull(version->c_str(), nullptr, 16), *device}};
}

std::string Encode(const HubRecord& record) {
  std::string out;
  AppendInteger(out, kHubFormat);
  AppendInteger(out, static_cast<uint8_t>((record.content.deleted ? kDeletedFlag : 0) |
                                          (record.inParts ? kPartsFlag : 0)));
  AppendInteger(out, record.content.stamp.version);
  AppendInteger(out, record.pushed);
  AppendBytes(out, record.content.stamp.device);
  if (!record.inParts) return out.append(record.content.value);
  AppendInteger(out, record.size);
  AppendInteger(out, record.digest);
  return out;
}

std::optional<HubRecord> ParseRecord(std::string_view bytes) {
  ByteReader reader(bytes);
  if (reader.Read<uint8_t>() != kHubFormat) return std::nullopt;
  HubRecord record;
  const auto flags = reader.Read<uint8_t>();
  record.content.deleted = (flags & kDeletedFlag) != 0;
  record.inParts = (flags & kPartsFlag) != 0;
  record.content.stamp.version = reader.Read<Version>();
  record.pushed = reader.Read<Version>();
  record.content.stamp.device = reader.ReadBytes();
  if (record.inParts) {
    record.size = reader.Read<uint32_t>();
    record.digest = reader.Read<uint64_t>();
  } else {
    record.content.value = reader.Rest();
  }
  const bool whole = reader.Good() && IsVersion(record.content.stamp.version) && IsVersion(record.pushed) &&
                     IsIdentifier(record.content.stamp.device);
  return whole ? std::optional(std::move(record)) : std::nullopt;
}

uint64_t Digest(std::string_view bytes) {
  uint64_t digest = 0xcbf29ce484222325;
  for (const char byte : bytes) digest = (digest ^ static_cast<unsigned char>(byte)) * 0x100000001b3;
  return digest;
}

std::string Encode(const Marker& marker) {
  std::string out;
  AppendInteger(out, kHubFormat);
  AppendInteger(out, marker.incarnation);
  AppendInteger(out, marker.number);
  AppendInteger(out, static_cast<uint32_t>(marker.securityLevel));
  AppendInteger(out, static_cast<uint32_t>(marker.labels.size()));
  for (const std::string& label : marker.labels) AppendBytes(out, label);
  return out;
}

std::optional<Marker> ParseMarker(std::string_view bytes) {
  ByteReader reader(bytes);
  if (reader.Read<uint8_t>() != kHubFormat) return std::nullopt;
  Marker marker;
  marker.incarnation = reader.Read<Version>();
  marker.number = reader.Read<Version>();
  marker.securityLevel = static_cast<int32_t>(reader.Read<uint32_t>());
  for (auto left = reader.Read<uint32_t>(); left > 0 && reader.Good(); --left) {
    marker.labels.push_back(reader.ReadBytes());
  }
  const bool whole = reader.AtEnd() && IsVersion(marker.incarnation) && IsVersion(marker.number);
  return whole ? std::optional(std::move(marker)) : std::nullopt;
}

}  // namespace KORA::DistributedKv::Client::Sync
