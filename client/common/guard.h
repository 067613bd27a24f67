// The edge of the client: no C++ exception leaves it.
#pragma once

#include <exception>
#include <type_traits>

#include "common/log.h"
#include "contract/status.h"

namespace KORA::DistributedKv::Client {

// The answer of `body`, or SUCCESS if it has none; what it throws becomes ERROR and a line in the log.
template <typename Body>
Status Guard(Body body) noexcept {
  try {
    if constexpr (std::is_void_v<decltype(body())>) {
      body();
      return Status::SUCCESS;
    } else {
      return body();
    }
  } catch (const std::exception& failure) {
    __android_log_print(KORA_LOG_ERROR, kLogTag, "unexpected failure: %s", failure.what());
  } catch (...) {
    __android_log_print(KORA_LOG_ERROR, kLogTag, "unexpected failure");
  }
  return Status::ERROR;
}

}  // namespace KORA::DistributedKv::Client
