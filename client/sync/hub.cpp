#include "sync/hub.h"

#include <array>

namespace KORA::DistributedKv::Client::Sync {

const char* NameOf(HubResult result) {
  constexpr std::array kNames = {"done",   "refused", "unavailable", "outcome unknown", "compacted",
                                 "future", "full",    "denied",      "store failed"};
  return kNames.at(static_cast<size_t>(result));
}

}  // namespace KORA::DistributedKv::Client::Sync
