// Who this device is.
#pragma once

#include <filesystem>
#include <optional>
#include <string>

namespace KORA::DistributedKv::Client {

// The identifier of this device, 32 hexadecimal digits. It is drawn at random once and kept in the file
// ".device" of the home folder; where that is only read and has none, it is drawn for this call. Empty, with
// a line in the log, when that file can neither be read nor made.
std::optional<std::string> DeviceIdentifier(const std::filesystem::path& home, bool readOnly);

}  // namespace KORA::DistributedKv::Client
