#include "etcd/outcome.h"

#include <algorithm>
#include <array>

namespace KORA::DistributedKv::Client::Etcd {

using Sync::HubResult;

namespace {

// etcd uses some codes for several things, and tells them apart by text alone.
bool Says(const grpc::Status& status, std::string_view text) {
  return status.error_message().find(text) != std::string::npos;
}

// Whether the hub has looked at the request and turned it down; `result` says why.
bool IsTurnedDown(const grpc::Status& status, HubResult& result) {
  switch (status.error_code()) {
    case grpc::PERMISSION_DENIED:
    case grpc::UNAUTHENTICATED:
      result = HubResult::kDenied;
      return true;
    case grpc::INVALID_ARGUMENT:
      result = Says(status, "authentication failed") || IsTokenRefused(status) ? HubResult::kDenied
                                                                               : HubResult::kUnavailable;
      return true;
    case grpc::OUT_OF_RANGE:
      result = Says(status, "compacted") ? HubResult::kCompacted : HubResult::kFuture;
      return true;
    case grpc::RESOURCE_EXHAUSTED:
      result = Says(status, "space exceeded") ? HubResult::kFull : HubResult::kUnavailable;
      return true;
    case grpc::NOT_FOUND:  // a lease that has ended
    case grpc::FAILED_PRECONDITION:
      result = HubResult::kUnavailable;
      return true;
    default:
      return false;
  }
}

}  // namespace

bool IsEndpointLost(const grpc::Status& status) {
  return status.error_code() == grpc::UNAVAILABLE || status.error_code() == grpc::DEADLINE_EXCEEDED;
}

bool IsTokenRefused(const grpc::Status& status) {
  // "user name is empty": no token was sent, for authentication was off when one was asked for last.
  return status.error_code() == grpc::UNAUTHENTICATED ||
         (status.error_code() == grpc::INVALID_ARGUMENT &&
          (Says(status, "revision of auth store is old") || Says(status, "user name is empty")));
}

bool IsAuthenticationOff(const grpc::Status& status) {
  return status.error_code() == grpc::FAILED_PRECONDITION && Says(status, "authentication is not enabled");
}

bool SpeaksOfRights(std::string_view text) {
  constexpr std::array<std::string_view, 4> kRefusals = {
      "permission denied", "invalid auth token", "user name is empty", "revision of auth store is old"};
  return std::any_of(kRefusals.begin(), kRefusals.end(), [text](std::string_view refusal) {
    return text.find(refusal) != std::string_view::npos;
  });
}

HubResult ResultOfRead(const grpc::Status& status) {
  return ResultOfWrite(status, false);
}

HubResult ResultOfWrite(const grpc::Status& status, bool sent) {
  HubResult result = sent ? HubResult::kUnknown : HubResult::kUnavailable;
  if (status.ok()) return HubResult::kDone;
  IsTurnedDown(status, result);
  return result;
}

}  // namespace KORA::DistributedKv::Client::Etcd
