// How RocksDB is set up: options, memory, files, log.
#pragma once

#include <rocksdb/env.h>
#include <rocksdb/file_system.h>
#include <rocksdb/listener.h>
#include <rocksdb/options.h>

#include <memory>

#include "engine/engine.h"
#include "engine/log_room.h"

namespace KORA::DistributedKv::Client {

// The files of a store. No key: not encrypted. `key` is copied. Logs get their room from `room`, if there is
// one; it outlives them.
std::shared_ptr<rocksdb::FileSystem> NewFiles(const SecretKey* key, LogRoom* room);

std::shared_ptr<rocksdb::Logger> NewEngineLog();

rocksdb::Options DatabaseOptions(const EngineOptions& wanted, rocksdb::Env* env,
                                 std::shared_ptr<rocksdb::EventListener> health);

// Has all engines that are opened from now on keep their files in `files`: a place to put faults.
void PutBelowEngines(const std::shared_ptr<rocksdb::FileSystem>& files);

}  // namespace KORA::DistributedKv::Client
