// What the end of a call means for what was asked.
#pragma once

#include <grpcpp/grpcpp.h>

#include <string_view>

#include "sync/hub.h"

namespace KORA::DistributedKv::Client::Etcd {

// The endpoint can't be reached or does not answer, or is of no use at the moment.
bool IsEndpointLost(const grpc::Status& status);
// A new token may help.
bool IsTokenRefused(const grpc::Status& status);
bool IsAuthenticationOff(const grpc::Status& status);
// For refusals that come as text alone.
bool SpeaksOfRights(std::string_view text);

Sync::HubResult ResultOfRead(const grpc::Status& status);
// kUnknown wherever the write may have been applied, unless it was not `sent`.
Sync::HubResult ResultOfWrite(const grpc::Status& status, bool sent);

}  // namespace KORA::DistributedKv::Client::Etcd
