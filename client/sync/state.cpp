#include "sync/state.h"

#include <algorithm>

#include "sync/bytes.h"

namespace KORA::DistributedKv::Client::Sync {

namespace {

constexpr uint8_t kStateFormat = 1;

bool Continues(const Peer& peer, const Markers& now, const std::string& device) {
  const std::optional<Marker> seen = ParseMarker(peer.marker);
  if (!seen) return true;
  const auto entry = now.find(device);
  if (entry == now.end()) return false;
  const std::optional<Marker> found = ParseMarker(entry->second.value);
  return found && found->incarnation == seen->incarnation && found->number >= seen->number;
}

}  // namespace

std::string Encode(const SyncState& state) {
  std::string out;
  AppendInteger(out, kStateFormat);
  AppendInteger(out, static_cast<uint64_t>(state.position));
  AppendInteger(out, state.inStep);
  AppendInteger(out, state.incarnation);
  AppendInteger(out, state.acknowledged);
  AppendBytes(out, state.admission);
  for (const auto& [device, peer] : state.peers) {
    AppendBytes(out, device);
    AppendBytes(out, peer.marker);
    AppendInteger(out, static_cast<uint64_t>(peer.modified));
    AppendInteger(out, peer.newest);
    AppendInteger(out, peer.removed);
  }
  return out;
}

std::optional<SyncState> ParseState(std::string_view bytes) {
  SyncState state;
  if (bytes.empty()) return state;
  ByteReader reader(bytes);
  if (reader.Read<uint8_t>() != kStateFormat) return std::nullopt;
  state.position = static_cast<Revision>(reader.Read<uint64_t>());
  state.inStep = reader.Read<Version>();
  state.incarnation = reader.Read<Version>();
  state.acknowledged = reader.Read<Version>();
  state.admission = reader.ReadBytes();
  while (reader.Good() && !reader.AtEnd()) {
    Peer& peer = state.peers[reader.ReadBytes()];
    peer.marker = reader.ReadBytes();
    peer.modified = static_cast<Revision>(reader.Read<uint64_t>());
    peer.newest = reader.Read<Version>();
    peer.removed = reader.Read<Version>();
  }
  return reader.AtEnd() ? std::optional(std::move(state)) : std::nullopt;
}

Markers ToMarkers(const StoreKeys& keys, std::vector<HubEntry> entries) {
  Markers markers;
  for (HubEntry& entry : entries) {
    if (const auto device = After(keys.Markers(), entry.key)) markers[*device] = std::move(entry);
  }
  return markers;
}

Revision NewestOf(const Markers& markers) {
  Revision newest = 0;
  for (const auto& [device, entry] : markers) newest = std::max(newest, entry.modified);
  return newest;
}

bool IsSameMoment(const SyncState& state, const Markers& atPosition) {
  size_t known = 0;
  for (const auto& [device, peer] : state.peers) {
    if (peer.modified == 0) continue;
    ++known;
    const auto entry = atPosition.find(device);
    if (entry == atPosition.end() || entry->second.modified != peer.modified ||
        entry->second.value != peer.marker) {
      return false;
    }
  }
  return known == atPosition.size();
}

Version NumberOf(const Markers& markers, const std::string& device) {
  const auto entry = markers.find(device);
  const auto marker = entry == markers.end() ? std::nullopt : ParseMarker(entry->second.value);
  return marker ? marker->number : 0;
}

bool IsSameHistory(const SyncState& state, const Markers& now) {
  return std::all_of(state.peers.begin(), state.peers.end(), [&now](const auto& known) {
    const auto& [device, peer] = known;
    return Continues(peer, now, device);
  });
}

void SetMarkers(SyncState& state, const Markers& markers) {
  for (auto& [device, peer] : state.peers) {
    peer.marker.clear();
    peer.modified = 0;
  }
  for (const auto& [device, entry] : markers) {
    Peer& peer = state.peers[device];
    peer.marker = entry.value;
    peer.modified = entry.modified;
  }
}

}  // namespace KORA::DistributedKv::Client::Sync
