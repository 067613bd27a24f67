// A single-version store and its result sets against their model.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "checked.h"

namespace KORA::DistributedKv::Model {

class SingleCheck : public Checked<SingleKvStore> {
 public:
  SingleCheck(DistributedKvDataManager& manager, const Options& options)
      : Checked(manager, options, "single") {}

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

  void List(Chance& chance) const;
  void OpenCursor(Chance& chance);
  static void Move(Cursor& cursor, Chance& chance);
  static bool MoveAtRandom(Cursor& cursor, Chance& chance);
  static void CheckPosition(const Cursor& cursor);

  std::vector<Cursor> cursors_;
};

}  // namespace KORA::DistributedKv::Model
