// Opens the engine of a store by the settings of the process.
#pragma once

#include <filesystem>
#include <functional>
#include <memory>

#include "contract/status.h"
#include "engine/engine.h"
#include "manager/store_folder.h"

namespace KORA::DistributedKv::Client {

struct EngineUse {
  bool create = false;
  bool readOnly = false;
  std::filesystem::path backups;  // empty: none are made
  std::function<void()> failed;   // as EngineOptions has it
};

// Completes the record of a new store. As OpenEngine answers; INVALID_ARGUMENT: bad settings.
Status OpenStoreEngine(const std::filesystem::path& folder, EngineUse use, StoreRecord& record,
                       std::unique_ptr<Engine>& engine);

}  // namespace KORA::DistributedKv::Client
