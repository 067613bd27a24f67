// The backups of one store: what the engine wrote, as it was at some moments of the past.
//
// They lie in a folder of their own, in the layout of RocksDB's backup engine (folders "meta", "private" and
// "shared_checksum"), with a checksum for each file. Tables that several backups have in common are kept
// once. The backups of an encrypted store are encrypted with its key.
#pragma once

#include <cstdint>
#include <filesystem>

#include "common/crypto.h"
#include "contract/status.h"

namespace KORA::DistributedKv::Client {

struct BackupPlace {
  std::filesystem::path folder;
  const SecretKey* key = nullptr;  // borrowed for each call; null: not encrypted
};

// Whether there may be backups; looks at names alone.
bool HasBackups(const std::filesystem::path& folder);

// Puts the newest backup that can be read and is whole into `target`, whose files it replaces; `time` is when
// it was made, in seconds since 1970 UTC. SUCCESS; RECOVER_FAILED: none is whole; DB_ERROR: one can't be read
// and none serves in its stead, or there is no room.
Status RestoreBackup(const BackupPlace& place, const std::filesystem::path& target, int64_t& time);

}  // namespace KORA::DistributedKv::Client
