// Tells at opening whether the files of a closed store are those that closing left.
//
// The engine checks what it reads, but a log or manifest that has lost its end looks to it as after a crash,
// and it would go on without what is missing. So a clean close leaves the file "SEAL":
//   <name> <size in bytes> <SHA-256 in hexadecimal>     a line for each file that the database needs
//   checksum=<SHA-256 over the lines before>
// The digest of a table is over its first and last kilobyte: the engine checks the blocks between when it
// reads them. The seal is removed before the store is opened for writing. Without one, after a crash, the
// engine's own checks must do.
#pragma once

#include <filesystem>
#include <string>

namespace KORA::DistributedKv::Client {

enum class SealState { kNone, kIntact, kBroken, kUnreadable };

// Compares the files with their seal. `reason` says, unless the seal is intact, what is the matter: with a
// store that is damaged (kBroken) or can't be read now (kUnreadable).
SealState CheckSeal(const std::filesystem::path& folder, std::string& reason);

// Each returns what failed.
std::error_code WriteSeal(const std::filesystem::path& folder);
std::error_code RemoveSeal(const std::filesystem::path& folder);

}  // namespace KORA::DistributedKv::Client
