// Records that were deleted all together, as changes for the observers.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>

#include "engine/engine.h"
#include "store/change.h"

namespace KORA::DistributedKv::Client {

// Reads them from a snapshot of the moment before, as many at a time as may wait for observers. One thread at
// a time.
class DeletedRecords {
 public:
  // Whether a record that a device wrote, by its number, is one of those; empty: all are.
  using Filter = std::function<bool(uint32_t device)>;

  // Names the store in log lines.
  DeletedRecords(std::string storeId, std::unique_ptr<View> before, Filter filter);

  // Fills in the next ones; whether there are any more. What can't be read is left out.
  bool Take(Change& piece);

 private:
  void Add(Change& piece) const;

  const std::string storeId_;
  const Filter filter_;
  const std::unique_ptr<View> before_;
  const std::unique_ptr<Cursor> cursor_;
};

}  // namespace KORA::DistributedKv::Client
