// A multi-version store and its snapshots against their model.
#pragma once

#include <memory>
#include <vector>

#include "checked.h"

namespace KORA::DistributedKv::Model {

class MultiCheck : public Checked<KvStore> {
 public:
  MultiCheck(DistributedKvDataManager& manager, const Options& options)
      : Checked(manager, options, "multi") {}

  // One random operation.
  void Step(Chance& chance);
  // Closes and opens the store, which keeps what was committed, and nothing else.
  void Reopen(Chance& chance);

 private:
  struct Snapshot {
    std::unique_ptr<KvStoreSnapshot> snapshot;
    StoreModel model;
  };

  Snapshot Take() const;
  void Keep(Chance& chance);
  static void Read(const Snapshot& snapshot, Chance& chance);
  static void ReadAll(const Snapshot& snapshot, const std::string& prefix);

  std::vector<Snapshot> snapshots_;
};

}  // namespace KORA::DistributedKv::Model
