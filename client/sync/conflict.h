// Which of two writes of a key wins. Everywhere the same: on each replica and on the hub.
#pragma once

#include <string>
#include <string_view>
#include <tuple>

#include "store/hybrid_clock.h"

namespace KORA::DistributedKv::Client::Sync {

// A write: when, by the writer's hybrid clock, and who. The greater stamp wins.
struct Stamp {
  Version version = 0;
  std::string device;

  bool operator==(const Stamp& other) const { return version == other.version && device == other.device; }
  bool operator!=(const Stamp& other) const { return !(*this == other); }
  bool operator<(const Stamp& other) const {
    return std::tie(version, device) < std::tie(other.version, other.device);
  }
};

// What was written. A tombstone stands for a deleted key; its value is empty.
struct Content {
  Stamp stamp;
  bool deleted = false;
  std::string value;
};

enum class Verdict {
  kTake,  // the hub's write wins
  kSame,  // both have the same write
  kKeep,  // the local write wins: the hub has to be told of it
};

// Two different writes bear the same stamp only if a device lost its newest versions in a crash and its clock
// was set back meanwhile. Then the bytes decide, so that all replicas still agree.
inline Verdict Judge(const Content& local, const Content& remote) {
  const auto rank = [](const Content& content) {
    return std::tie(content.stamp, content.deleted, content.value);
  };
  if (rank(local) == rank(remote)) return Verdict::kSame;
  return rank(local) < rank(remote) ? Verdict::kTake : Verdict::kKeep;
}

}  // namespace KORA::DistributedKv::Client::Sync
