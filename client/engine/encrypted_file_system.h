// Encrypts all that RocksDB writes.
//
// A file is a header and, from there on, what RocksDB wrote, enciphered by AES-256 in counter mode (NIST SP
// 800-38A). The counter of a file's first 16 bytes is the nonce, as an integer of 128 bits, big-endian; it
// goes up by one every 16 bytes.
//   offset  size  field
//   0       8     "KORAENC1"
//   8       16    nonce: random, another one for each file
//   24      8     the beginning of SHA-256 over the 24 bytes before
//   32      n     content
// A file shorter than its header is what a creation that was cut off has left, and counts as empty.
#pragma once

#include <rocksdb/file_system.h>

#include <memory>

#include "common/crypto.h"

namespace KORA::DistributedKv::Client {

std::shared_ptr<rocksdb::FileSystem> NewEncryptedFileSystem(
    const std::shared_ptr<rocksdb::FileSystem>& target, const SecretKey& key);

}  // namespace KORA::DistributedKv::Client
