// The keys of encrypted stores.
//
// Each store has a key of its own, random, which encrypts its files and its backups. The file STORE holds it
// wrapped (RFC 3394) by the master key. The master key is what the key file holds: 64 hexadecimal digits in
// lower case, with or without an end of line.
#pragma once

#include <string>

#include "common/crypto.h"
#include "common/settings.h"
#include "contract/status.h"

namespace KORA::DistributedKv::Client {

// SUCCESS or DB_ERROR, with a line in the log. Any thread may call.

// Draws a key for a new store. Makes the key file if there is none, but never where an encrypted store needs
// one that was lost.
Status NewStoreKey(const Settings& settings, SecretKey& key, std::string& wrapped);
Status UnwrapStoreKey(const Settings& settings, const std::string& wrapped, SecretKey& key);

}  // namespace KORA::DistributedKv::Client
