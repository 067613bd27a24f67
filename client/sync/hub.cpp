#include "sync/hub.h"

#include <array>
#include <iterator>
#include <utility>

namespace KORA::DistributedKv::Client::Sync {

namespace {

void RangeRest(Hub& hub, RangeRequest request, RangeAnswer read, Hub::Then<RangeAnswer> then) {
  hub.Range(request,
            [&hub, request, read = std::move(read), then = std::move(then)](RangeAnswer page) mutable {
              if (page.result != HubResult::kDone) return then(std::move(page));
              if (read.entries.empty()) read.revision = page.revision;
              const bool more = page.more && !page.entries.empty();
              std::move(page.entries.begin(), page.entries.end(), std::back_inserter(read.entries));
              if (!more) {
                read.result = HubResult::kDone;
                return then(std::move(read));
              }
              if (request.revision == 0) request.revision = read.revision;
              request.begin = read.entries.back().key + '\0';
              RangeRest(hub, std::move(request), std::move(read), std::move(then));
            });
}

}  // namespace

const char* NameOf(HubResult result) {
  constexpr std::array kNames = {"done",   "refused", "unavailable", "outcome unknown", "compacted",
                                 "future", "full",    "denied",      "store failed"};
  return kNames.at(static_cast<size_t>(result));
}

void RangeWhole(Hub& hub, const RangeRequest& request, Hub::Then<RangeAnswer> then) {
  RangeRest(hub, request, {}, std::move(then));
}

}  // namespace KORA::DistributedKv::Client::Sync
