#include "device/local_device.h"

#include <mutex>
#include <optional>

#include "common/files.h"
#include "common/settings.h"
#include "common/utf8.h"
#include "device/device_identity.h"

namespace KORA::DistributedKv::Client {

namespace {

struct Found {
  std::mutex mutex;
  std::optional<DeviceInfo> device;
};

Found& FoundByProcess() {
  static auto& found = *new Found();  // in use until the process has ended
  return found;
}

Status ReadLocalDevice(std::optional<DeviceInfo>& device) {
  const Settings* settings = nullptr;
  if (const Status status = FindSettings(settings); status != Status::SUCCESS) return status;
  const bool read_only = settings->access == Access::kReadOnly || IsOnReadOnlyFileSystem(settings->home);
  const std::optional<std::string> identifier = DeviceIdentifier(settings->home, read_only);
  if (!identifier) return Status::DB_ERROR;
  device = DeviceInfo{*identifier, ToModifiedUtf8(settings->deviceName).value_or(""),
                      ToModifiedUtf8(settings->deviceType).value_or("")};
  return Status::SUCCESS;
}

}  // namespace

Status FindLocalDevice(DeviceInfo& device) {
  Found& found = FoundByProcess();
  const std::lock_guard<std::mutex> lock(found.mutex);
  const Status status = found.device ? Status::SUCCESS : ReadLocalDevice(found.device);
  if (status == Status::SUCCESS) device = *found.device;
  return status;
}

}  // namespace KORA::DistributedKv::Client
