// How the hub is reached that keeps the stores of several devices in step.
#pragma once

#include <chrono>
#include <string>
#include <vector>

namespace KORA::DistributedKv::Client {

struct ClusterSettings {
  std::vector<std::string> endpoints;  // "host:port", "[address]:port"; none: there is no hub
  bool tls = false;
  std::string
      authority;  // PEM: the certificates of those whose word on the hub's is taken; empty: the system's
  std::string certificate;  // PEM: this device's own, for a hub that asks for one; with `key`, or neither
  std::string key;
  std::string serverName;  // whom the hub's certificate has to name; empty: the host of the endpoint
  std::string user;        // empty: none
  std::string password;
  std::string nameSpace = "kora-data";          // what the keys on the hub begin with
  std::chrono::milliseconds leaseTime{10'000};  // for how long a device that is silent counts as online
  std::chrono::milliseconds timeout{1'000};     // of a request
};

}  // namespace KORA::DistributedKv::Client
