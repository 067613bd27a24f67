#include "manager/store_engine.h"

#include <utility>

#include "common/settings.h"
#include "manager/key_ring.h"

namespace KORA::DistributedKv::Client {

Status OpenStoreEngine(const std::filesystem::path& folder, EngineUse use, StoreRecord& record,
                       std::unique_ptr<Engine>& engine) {
  const Settings* settings = nullptr;
  Status status = FindSettings(settings);
  SecretKey key;
  if (status == Status::SUCCESS && record.traits.encrypted) {
    status = use.create ? NewStoreKey(*settings, key, record.wrappedKey)
                        : UnwrapStoreKey(*settings, record.wrappedKey, key);
  }
  if (status != Status::SUCCESS) return status;
  EngineOptions options;
  options.folder = folder;
  options.create = use.create;
  options.key = record.traits.encrypted ? &key : nullptr;
  options.syncCommits = settings->durability == Durability::kPower;
  options.memoryBudget = settings->memoryBudget;
  options.failed = std::move(use.failed);
  options.readOnly = use.readOnly;
  options.backups = std::move(use.backups);
  options.backupInterval = settings->backupInterval;
  return OpenEngine(options, engine);
}

}  // namespace KORA::DistributedKv::Client
