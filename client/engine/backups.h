// The backups of one store: what the engine wrote, as it was at some moments of the past.
//
// They lie in a folder of their own, in the layout of RocksDB's backup engine (folders "meta", "private" and
// "shared_checksum"), with a checksum for each file. Tables that several backups have in common are kept
// once. The backups of an encrypted store are encrypted with its key.
#pragma once

#include <cstdint>
#include <filesystem>
#include <vector>

#include "common/crypto.h"
#include "contract/status.h"

namespace KORA::DistributedKv::Client {

struct BackupPlace {
  std::filesystem::path folder;
  const SecretKey* key = nullptr;  // borrowed for each call; null: not encrypted
};

struct BackupInfo {
  uint32_t number = 0;  // grows with each backup
  int64_t time = 0;     // seconds since 1970 UTC
  uint64_t bytes = 0;   // of the files that make it up, also where other backups share them
};

// Whether there may be backups; looks at names alone.
bool HasBackups(const std::filesystem::path& folder);

// The backups that are complete, from the oldest to the newest. SUCCESS or DB_ERROR.
Status ListBackups(const BackupPlace& place, std::vector<BackupInfo>& backups);

// Reads a backup and compares its checksums. SUCCESS; KEY_NOT_FOUND: there is none of this number; DB_ERROR.
Status VerifyBackup(const BackupPlace& place, uint32_t number);

// Puts the newest backup that is whole, or that of `number` if it is not 0, into `target`, whose files it
// replaces. SUCCESS; RECOVER_FAILED: none is whole; DB_ERROR: it failed for another reason.
Status RestoreBackup(const BackupPlace& place, uint32_t number, const std::filesystem::path& target,
                     BackupInfo& restored);

}  // namespace KORA::DistributedKv::Client
