#include "device/device_identity.h"

#include <sys/random.h>

#include <array>

#include "common/files.h"
#include "common/log.h"

namespace KORA::DistributedKv::Client {

namespace {

constexpr size_t kIdentifierBytes = 16;

std::error_code DrawIdentifier(std::string& identifier) {
  std::array<unsigned char, kIdentifierBytes> bytes{};
  if (getrandom(bytes.data(), bytes.size(), 0) != static_cast<ssize_t>(bytes.size())) {
    return {errno, std::generic_category()};
  }
  constexpr char kDigits[] = "0123456789abcdef";
  for (const unsigned char byte : bytes) identifier.append({kDigits[byte >> 4], kDigits[byte & 15]});
  return {};
}

std::error_code ReadOrDraw(const std::filesystem::path& home, bool keep, std::string& identifier) {
  const std::filesystem::path file = home / ".device";
  if (const std::error_code error = ReadFile(file, identifier);
      error != std::errc::no_such_file_or_directory) {
    return error;
  }
  identifier.clear();
  const std::error_code error = DrawIdentifier(identifier);
  return error || !keep ? error : ReplaceFile(file, identifier);
}

// One process at a time: two that drew at once would each go on with its own.
std::error_code ReadOrDrawLocked(const std::filesystem::path& home, std::string& identifier) {
  if (const std::error_code error = MakePrivateFolders(home)) return error;
  FileDescriptor lock;
  const std::error_code error = LockFolder(home, FolderLock::kWait, lock);
  return error ? error : ReadOrDraw(home, true, identifier);
}

}  // namespace

std::optional<std::string> DeviceIdentifier(const std::filesystem::path& home, bool readOnly) {
  std::string identifier;
  std::error_code error = readOnly ? ReadOrDraw(home, false, identifier) : ReadOrDrawLocked(home, identifier);
  if (!error && identifier.size() != 2 * kIdentifierBytes) {
    error = std::make_error_code(std::errc::illegal_byte_sequence);
  }
  if (!error) return identifier;
  __android_log_print(KORA_LOG_ERROR, kLogTag, "home folder %s: the device's identifier (.device): %s",
                      home.c_str(), error.message().c_str());
  return std::nullopt;
}

}  // namespace KORA::DistributedKv::Client
