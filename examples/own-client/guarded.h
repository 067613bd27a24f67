// The edge of the library: what must hold for every call that crosses it.
#pragma once

#include <exception>

#include "contract/status.h"

namespace OwnClient {

// Runs `body`, which answers a Status. No C++ exception crosses a library boundary: running out of memory,
// say, becomes a status.
template <typename Body>
KORA::DistributedKv::Status Guarded(Body body) noexcept {
  try {
    return body();
  } catch (const std::exception&) {
    return KORA::DistributedKv::Status::ERROR;
  }
}

}  // namespace OwnClient
