// A single-version store and its result sets against their model.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "contract/distributed_kv_data_manager.h"
#include "model.h"

namespace KORA::DistributedKv::Model {

class SingleCheck {
 public:
  SingleCheck(DistributedKvDataManager& manager, const Options& options);

  // One random operation.
  void Step(Chance& chance);
  // Closes and opens the store, which keeps what was committed, and nothing else.
  void Reopen(Chance& chance);

 private:
  // A result set with what it is to show.
  struct Cursor {
    std::unique_ptr<KvStoreResultSet> resultSet;
    Rows rows;
    int64_t position = -1;
  };

  void Open();
  void Get(Chance& chance) const;
  void List(Chance& chance) const;
  void OpenCursor(Chance& chance);
  static void Move(Cursor& cursor, Chance& chance);
  static bool MoveAtRandom(Cursor& cursor, Chance& chance);
  static void CheckPosition(const Cursor& cursor);

  DistributedKvDataManager& manager_;
  const Options options_;
  std::unique_ptr<SingleKvStore> store_;
  StoreModel model_;
  std::vector<Cursor> cursors_;
};

}  // namespace KORA::DistributedKv::Model
