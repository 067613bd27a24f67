#include "engine/seal.h"

#include <sys/stat.h>

#include <algorithm>
#include <fstream>
#include <map>
#include <string_view>

#include "common/crypto.h"
#include "common/files.h"

namespace KORA::DistributedKv::Client {

namespace {

namespace fs = std::filesystem;

constexpr const char* kSealFile = "SEAL";
constexpr uint64_t kTableEdge = 1024;  // bytes; holds the footer and, where there is one, the header

bool HasExtension(std::string_view name, std::string_view extension) {
  return name.size() > extension.size() && name.substr(name.size() - extension.size()) == extension;
}

bool IsTable(std::string_view name) {
  return HasExtension(name, ".sst");
}

// The other files of the database are read by people or by nobody.
bool IsSealed(std::string_view name) {
  return IsTable(name) || HasExtension(name, ".log") || name == "CURRENT" || name == "IDENTITY" ||
         name.rfind("MANIFEST-", 0) == 0;
}

// The first and last kilobyte of a file; all of one that is not longer.
std::error_code ReadEdges(const fs::path& file, uint64_t size, std::string& edges) {
  const FileDescriptor opened = OpenForReading(file);
  if (!opened) return LastError();
  const uint64_t head = std::min(size, kTableEdge);
  const uint64_t tail = std::min(size - head, kTableEdge);
  if (const std::error_code error = ReadRange(opened, 0, head, edges)) return error;
  return ReadRange(opened, size - tail, tail, edges);
}

// The line of a file, without its end.
std::error_code Describe(const fs::path& file, std::string& line) {
  struct stat about {};
  if (stat(file.c_str(), &about) != 0) return LastError();
  const auto size = static_cast<uint64_t>(about.st_size);
  std::string content;
  const std::string name = file.filename().string();
  const std::error_code error = IsTable(name) ? ReadEdges(file, size, content) : ReadFile(file, content);
  line = name + " " + std::to_string(size) + " " + Sha256(content);
  return error;
}

// A disk that answers with errors may do better next time, and damages no file that it can't read.
bool IsPassing(const std::error_code& error) {
  return error && error != std::errc::no_such_file_or_directory;
}

SealState CheckLine(const fs::path& folder, std::string_view line, std::string& reason) {
  const std::string name(line.substr(0, line.find(' ')));
  std::string found;
  const std::error_code error = Describe(folder / name, found);
  if (!error && found == line) return SealState::kIntact;
  reason = name + ": " + (error ? error.message() : "not as it was when the store was closed");
  return IsPassing(error) ? SealState::kUnreadable : SealState::kBroken;
}

}  // namespace

SealState CheckSeal(const fs::path& folder, std::string& reason) {
  std::string text;
  const std::error_code error = ReadFile(folder / kSealFile, text);
  std::string_view lines;
  if (error == std::errc::no_such_file_or_directory || (!error && !StripChecksum(text, lines))) {
    reason = "it has no seal";
    return SealState::kNone;
  }
  if (error) {
    reason = std::string(kSealFile) + ": " + error.message();
    return SealState::kUnreadable;
  }
  while (!lines.empty()) {
    const size_t end = lines.find('\n');
    const SealState state = CheckLine(folder, lines.substr(0, end), reason);
    if (state != SealState::kIntact) return state;
    lines.remove_prefix(end + 1);
  }
  return SealState::kIntact;
}

std::error_code WriteSeal(const fs::path& folder) {
  std::string text;
  std::error_code error;
  for (fs::directory_iterator entry(folder, error), end; !error && entry != end; entry.increment(error)) {
    if (!IsSealed(entry->path().filename().string())) continue;
    std::string line;
    if (const std::error_code failed = Describe(entry->path(), line)) return failed;
    text.append(line).append("\n");
  }
  return error ? error : ReplaceFile(folder / kSealFile, WithChecksum(text));
}

std::error_code RemoveSeal(const fs::path& folder) {
  std::error_code error;
  if (!fs::remove(folder / kSealFile, error) || error) return error;
  return SyncFolder(folder);
}

}  // namespace KORA::DistributedKv::Client
