// How the hub is reached that keeps the stores of several devices in step.
//
//   name                    environment                        values
//   cluster.endpoints       KORA_DATA_ENDPOINTS                host:port, 1 to 16, with commas between; with
//                                                              http:// or https:// in front of each or of
//                                                              none
//   cluster.ca              KORA_DATA_CLUSTER_CA               PEM, or a file of it; so are the next two
//   cluster.certificate     KORA_DATA_CLUSTER_CERTIFICATE
//   cluster.key             KORA_DATA_CLUSTER_KEY
//   cluster.server.name     KORA_DATA_CLUSTER_SERVER_NAME      a host name
//   cluster.user            KORA_DATA_CLUSTER_USER             1 to 128 bytes
//   cluster.password        KORA_DATA_CLUSTER_PASSWORD         1 to 1024 bytes
//   cluster.password.file   KORA_DATA_CLUSTER_PASSWORD_FILE    a file of it; an end of line does not count
//   cluster.namespace       KORA_DATA_CLUSTER_NAMESPACE        1 to 128 of A-Z a-z 0-9 . _ -, no dot in front
//   cluster.lease           KORA_DATA_CLUSTER_LEASE            milliseconds, 2000 to 3600000
//   cluster.timeout         KORA_DATA_CLUSTER_TIMEOUT          milliseconds, 100 to 60000
//   cluster.death.after     KORA_DATA_CLUSTER_DEATH_AFTER      milliseconds, 1000 to 86400000, or 0 for never
#pragma once

#include <chrono>
#include <string>
#include <string_view>
#include <vector>

namespace KORA::DistributedKv::Client {

struct ClusterSettings {
  enum class Scheme { kNone, kHttp, kHttps };

  // Whether the hub is spoken to by TLS: where the scheme does not say it, certificates do.
  bool UsesTls() const {
    return scheme == Scheme::kHttps ||
           (scheme == Scheme::kNone && !(authority.empty() && certificate.empty()));
  }

  std::vector<std::string> endpoints;  // "host:port", "[address]:port"; none: there is no hub
  Scheme scheme = Scheme::kNone;       // of all endpoints
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
  // How long a hub that was reached is out of reach before the service counts as dead; 0: it never does.
  std::chrono::milliseconds deathAfter{60'000};
};

// Each takes the value of a setting, and returns whether it is allowed.
bool TakeEndpoints(std::string_view value, ClusterSettings& settings);
bool TakeAuthority(std::string_view value, ClusterSettings& settings);
bool TakeCertificate(std::string_view value, ClusterSettings& settings);
bool TakeKey(std::string_view value, ClusterSettings& settings);
bool TakeServerName(std::string_view value, ClusterSettings& settings);
bool TakeUser(std::string_view value, ClusterSettings& settings);
bool TakePassword(std::string_view value, ClusterSettings& settings);
bool TakePasswordFile(std::string_view value, ClusterSettings& settings);
bool TakeNameSpace(std::string_view value, ClusterSettings& settings);
bool TakeLease(std::string_view value, ClusterSettings& settings);
bool TakeTimeout(std::string_view value, ClusterSettings& settings);
bool TakeDeathAfter(std::string_view value, ClusterSettings& settings);

// What is wrong with the settings together, or an empty text.
std::string CheckTogether(const ClusterSettings& settings);

}  // namespace KORA::DistributedKv::Client
