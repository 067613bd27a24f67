// Whose data this device takes.
#pragma once

#include <set>
#include <string>

#include "sync/state.h"

namespace KORA::DistributedKv::Client::Sync {

struct AdmissionRules {
  int32_t securityLevel = 0;     // this device's store; data of a store of a higher level is not taken
  bool labels = false;           // whether only data of devices with a label in common is taken
  std::set<std::string> local;   // the labels that this device bears
  std::set<std::string> remote;  // the labels whose bearers' data is taken
};

// The rules as text, to see whether they have changed.
std::string Describe(const AdmissionRules& rules);

// Whether data of a device with this marker (empty: the device has none yet) may be taken.
bool Admits(const AdmissionRules& rules, std::string_view marker);

}  // namespace KORA::DistributedKv::Client::Sync
