// How far a store's replica has come, kept with the replica and changed together with its records.
#pragma once

#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "sync/hub.h"
#include "sync/layout.h"

namespace KORA::DistributedKv::Client::Sync {

// What is known of a device.
struct Peer {
  std::string marker;     // as the hub held it at the position; empty: none
  Revision modified = 0;  // of the marker
  Version newest = 0;     // the newest of its writes that was seen
  Version removed = 0;    // its writes up to this one were removed here and are not taken again
};

struct SyncState {
  // Everything that the hub had at this revision has been judged. 0: the replica has to be compared with it.
  Revision position = 0;
  Version inStep = 0;        // when the replica last had all that the hub had, by its own clock
  Version incarnation = 0;   // as this device's marker says it; 0: none yet
  Version acknowledged = 0;  // number of this device's last transaction that is known to be on the hub
  std::string admission;     // what decided on whose data is taken, up to the position
  std::map<std::string, Peer> peers;  // by device; this one too
};

// Integers are big-endian; a text is its length in 4 bytes and its bytes.
//   size  field
//   1     format: 1
//   8     position
//   8     inStep
//   8     incarnation
//   8     acknowledged
//   text  admission
//   then for each device: text device, text marker, 8 modified, 8 newest, 8 removed
std::string Encode(const SyncState& state);
// Of no bytes: the state of a store that was never synchronised. Nothing: damaged.
std::optional<SyncState> ParseState(std::string_view bytes);

// The hub's markers, as a range answers them. Those at one revision differ from those at any other, since
// each transaction changes one and no two numbers of a device are the same. So they tell histories apart.
using Markers = std::map<std::string, HubEntry>;
Markers ToMarkers(const StoreKeys& keys, std::vector<HubEntry> entries);
Revision NewestOf(const Markers& markers);

// Whether the hub at the state's position is the one that the state was taken from.
bool IsSameMoment(const SyncState& state, const Markers& atPosition);
// Whether the hub still has, or had, every transaction that the state has seen.
bool IsSameHistory(const SyncState& state, const Markers& now);
// The number of the device's marker; 0: it has none.
Version NumberOf(const Markers& markers, const std::string& device);
void SetMarkers(SyncState& state, const Markers& markers);

}  // namespace KORA::DistributedKv::Client::Sync
