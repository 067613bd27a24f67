// The numbers that the devices have in one store, in its records and elsewhere.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "contract/status.h"
#include "engine/engine.h"

namespace KORA::DistributedKv::Client {

// In memory what the store has as its devices (store/record.h). One thread at a time.
class DeviceNumbers {
 public:
  // `self`: the identifier of this device, which has kThisDevice. SUCCESS or DB_ERROR.
  Status Load(const View& view, const std::string& self);

  // Null: no device has this number.
  const std::string* Find(uint32_t number) const {
    const auto found = identifiers_.find(number);
    return found == identifiers_.end() ? nullptr : &found->second;
  }
  std::optional<uint32_t> Find(const std::string& device) const {
    const auto found = numbers_.find(device);
    return found == numbers_.end() ? std::nullopt : std::optional(found->second);
  }
  // The device's number; a device that is new gets one, which is stored with the batch.
  uint32_t NumberOf(const std::string& device, Batch& batch);

 private:
  void Add(uint32_t number, std::string device);

  std::map<uint32_t, std::string> identifiers_;
  std::map<std::string, uint32_t> numbers_;
};

}  // namespace KORA::DistributedKv::Client
