#include "common/cluster_settings.h"

#include <algorithm>
#include <cstdint>

#include "common/files.h"
#include "common/numbers.h"

namespace KORA::DistributedKv::Client {

namespace {

constexpr size_t kMaxEndpoints = 16;
constexpr size_t kMaxName = 128;
constexpr size_t kMaxPassword = 1024;
constexpr uint64_t kMaxPort = 65'535;
constexpr std::string_view kPemStart = "-----BEGIN ";
constexpr std::string_view kLettersAndDigits =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789";

bool ConsistsOf(std::string_view text, std::string_view more) {
  return std::all_of(text.begin(), text.end(), [more](char character) {
    return kLettersAndDigits.find(character) != std::string_view::npos ||
           more.find(character) != std::string_view::npos;
  });
}

bool IsHost(std::string_view host) {
  if (host.empty() || host.size() > 255) return false;
  if (host.front() != '[') return ConsistsOf(host, ".-_");
  return host.size() > 2 && host.back() == ']' && ConsistsOf(host.substr(1, host.size() - 2), ":.%");
}

bool IsEndpoint(std::string_view endpoint) {
  const size_t colon = endpoint.rfind(':');
  uint64_t port = 0;
  return colon != std::string_view::npos && IsHost(endpoint.substr(0, colon)) &&
         TakeNumber(endpoint.substr(colon + 1), 1, kMaxPort, port);
}

using Scheme = ClusterSettings::Scheme;

Scheme TakeScheme(std::string_view& endpoint) {
  for (const auto& [text, scheme] :
       {std::pair("http://", Scheme::kHttp), std::pair("https://", Scheme::kHttps)}) {
    if (endpoint.rfind(text, 0) != 0) continue;
    endpoint.remove_prefix(std::string_view(text).size());
    return scheme;
  }
  return Scheme::kNone;
}

bool TakePem(std::string_view value, std::string& pem) {
  pem = value;
  // RFC 7468: other text may stand in front.
  if (value.find(kPemStart) != std::string_view::npos) return true;
  return !value.empty() && !ReadFile(std::string(value), pem) && pem.find(kPemStart) != std::string::npos;
}

bool TakeText(std::string_view value, size_t longest, std::string& text) {
  text = value;
  return !value.empty() && value.size() <= longest && value.find('\0') == std::string_view::npos;
}

bool TakeTime(std::string_view value, uint64_t least, uint64_t greatest, std::chrono::milliseconds& time) {
  uint64_t number = 0;
  const bool taken = TakeNumber(value, least, greatest, number);
  time = std::chrono::milliseconds(number);
  return taken;
}

}  // namespace

bool TakeEndpoints(std::string_view value, ClusterSettings& settings) {
  settings.endpoints.clear();
  std::vector<Scheme> schemes;
  for (bool more = true; more;) {
    const size_t comma = value.find(',');
    std::string_view endpoint = value.substr(0, comma);
    more = comma != std::string_view::npos;
    if (more) value.remove_prefix(comma + 1);
    schemes.push_back(TakeScheme(endpoint));
    if (!IsEndpoint(endpoint)) return false;
    settings.endpoints.emplace_back(endpoint);
  }
  settings.scheme = schemes.front();
  const bool alike =
      std::count(schemes.begin(), schemes.end(), schemes.front()) == static_cast<long>(schemes.size());
  return alike && schemes.size() <= kMaxEndpoints;
}

bool TakeAuthority(std::string_view value, ClusterSettings& settings) {
  return TakePem(value, settings.authority);
}

bool TakeCertificate(std::string_view value, ClusterSettings& settings) {
  return TakePem(value, settings.certificate);
}

bool TakeKey(std::string_view value, ClusterSettings& settings) {
  return TakePem(value, settings.key);
}

bool TakeServerName(std::string_view value, ClusterSettings& settings) {
  settings.serverName = value;
  return IsHost(value);
}

bool TakeUser(std::string_view value, ClusterSettings& settings) {
  return TakeText(value, kMaxName, settings.user);
}

bool TakePassword(std::string_view value, ClusterSettings& settings) {
  return TakeText(value, kMaxPassword, settings.password);
}

bool TakePasswordFile(std::string_view value, ClusterSettings& settings) {
  std::string text;
  if (value.empty() || ReadFile(std::string(value), text)) return false;
  text.erase(text.find_last_not_of("\r\n") + 1);
  return TakePassword(text, settings);
}

bool TakeNameSpace(std::string_view value, ClusterSettings& settings) {
  settings.nameSpace = value;
  return !value.empty() && value.size() <= kMaxName && value.front() != '.' && ConsistsOf(value, "._-");
}

bool TakeLease(std::string_view value, ClusterSettings& settings) {
  return TakeTime(value, 2'000, 3'600'000, settings.leaseTime);
}

bool TakeTimeout(std::string_view value, ClusterSettings& settings) {
  return TakeTime(value, 100, 60'000, settings.timeout);
}

bool TakeDeathAfter(std::string_view value, ClusterSettings& settings) {
  const bool never = value == "0";
  if (never) settings.deathAfter = std::chrono::milliseconds(0);
  return never || TakeTime(value, 1'000, 86'400'000, settings.deathAfter);
}

std::string CheckTogether(const ClusterSettings& settings) {
  const bool certificates = !settings.authority.empty() || !settings.certificate.empty();
  if (settings.certificate.empty() != settings.key.empty()) {
    return "cluster.certificate and cluster.key: one is set without the other";
  }
  if (certificates && !settings.UsesTls()) {
    return "cluster.endpoints: http:// does not go with cluster.ca and cluster.certificate";
  }
  if (!settings.serverName.empty() && !settings.UsesTls()) {
    return "cluster.server.name: it takes https:// in cluster.endpoints, or cluster.ca";
  }
  if (settings.user.empty() != settings.password.empty()) {
    return "cluster.user and cluster.password: one is set without the other";
  }
  return {};
}

}  // namespace KORA::DistributedKv::Client
