#include "store/device_numbers.h"

#include <utility>

#include "common/big_endian.h"
#include "common/log.h"
#include "store/record.h"

namespace KORA::DistributedKv::Client {

Status DeviceNumbers::Load(const View& view, const std::string& self) {
  Add(kThisDevice, self);
  const std::unique_ptr<Cursor> cursor = view.Entries(kDeviceSpace);
  for (; cursor->Valid(); cursor->Next()) {
    Bytes rest = cursor->Key().substr(kDeviceSpace.size());
    uint32_t number = 0;
    if (!TakeBigEndian(rest, number) || !rest.empty() || number == kThisDevice) {
      __android_log_print(KORA_LOG_ERROR, kLogTag, "the number of a device is damaged");
      return Status::DB_ERROR;
    }
    Add(number, std::string(cursor->Value()));
  }
  return cursor->Result();
}

uint32_t DeviceNumbers::NumberOf(const std::string& device, Batch& batch) {
  if (const std::optional<uint32_t> known = Find(device)) return *known;
  const uint32_t number = identifiers_.rbegin()->first + 1;
  std::string key(kDeviceSpace);
  AppendBigEndian(number, key);
  batch.Put(key, device, {});
  Add(number, device);
  return number;
}

void DeviceNumbers::Add(uint32_t number, std::string device) {
  numbers_.emplace(device, number);
  identifiers_.emplace(number, std::move(device));
}

}  // namespace KORA::DistributedKv::Client
