// A multi-version store and its snapshots against their model.
#pragma once

#include <memory>
#include <vector>

#include "contract/distributed_kv_data_manager.h"
#include "model.h"

namespace KORA::DistributedKv::Model {

class MultiCheck {
 public:
  MultiCheck(DistributedKvDataManager& manager, const Options& options);

  // One random operation.
  void Step(Chance& chance);
  // Closes and opens the store, which keeps what was committed, and nothing else.
  void Reopen(Chance& chance);

 private:
  struct Snapshot {
    std::unique_ptr<KvStoreSnapshot> snapshot;
    StoreModel model;
  };

  void Open();
  Snapshot Take() const;
  void Keep(Chance& chance);
  static void Read(const Snapshot& snapshot, Chance& chance);
  static void ReadAll(const Snapshot& snapshot, const std::string& prefix);

  DistributedKvDataManager& manager_;
  const Options options_;
  std::unique_ptr<KvStore> store_;
  StoreModel model_;
  std::vector<Snapshot> snapshots_;
};

}  // namespace KORA::DistributedKv::Model
