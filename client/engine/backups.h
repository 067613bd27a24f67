// The backups of one store: what the engine wrote, as it was at some moments of the past.
//
// They lie in a folder of their own, in the layout of RocksDB's backup engine (folders "meta", "private" and
// "shared_checksum"), with a checksum for each file. Tables that several backups have in common are kept
// once. The backups of an encrypted store are encrypted with its key.
//
// A database that was restored goes through the same numbers of writes once more. So that its states can be
// told from those that were given up, restoring leaves the file "RESTORED" in its folder, lines "name=value"
// with
//   backup  when the backup was made, in seconds since 1970 UTC
//   mark    16 random bytes in hexadecimal, drawn for each restoring
// and each backup is marked with that text and the number of its database's last write.
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

// Puts the newest backup that is whole into `target`, whose files it replaces; `time` is when it was made, in
// seconds since 1970 UTC. SUCCESS; RECOVER_FAILED: none is whole; DB_ERROR: a newer one than the newest that
// is known to be whole can't be read now, or the target can't be written.
Status RestoreBackup(const BackupPlace& place, const std::filesystem::path& target, int64_t& time);

}  // namespace KORA::DistributedKv::Client
