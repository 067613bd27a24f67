#include "sync/admission.h"

#include <algorithm>

#include "sync/bytes.h"

namespace KORA::DistributedKv::Client::Sync {

std::string Describe(const AdmissionRules& rules) {
  std::string text;
  AppendInteger(text, static_cast<uint32_t>(rules.securityLevel));
  AppendInteger(text, static_cast<uint8_t>(rules.labels ? 1 : 0));
  // What this device bears decides on what others take, not on what it takes.
  for (const std::string& label : rules.remote) AppendBytes(text, label);
  return text;
}

bool Admits(const AdmissionRules& rules, std::string_view marker) {
  const std::optional<Marker> parsed = ParseMarker(marker);
  if (parsed && parsed->securityLevel > rules.securityLevel) return false;
  if (!rules.labels) return true;
  return parsed && std::any_of(parsed->labels.begin(), parsed->labels.end(),
                               [&rules](const std::string& label) { return rules.remote.count(label) > 0; });
}

}  // namespace KORA::DistributedKv::Client::Sync
