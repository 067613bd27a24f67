// The records that a clear has deleted, as changes for the observers.
#pragma once

#include <memory>
#include <string>

#include "engine/engine.h"
#include "store/change.h"

namespace KORA::DistributedKv::Client {

// Reads them from a snapshot of the moment before, as many at a time as may wait for observers. One thread at
// a time.
class DeletedRecords {
 public:
  // Names the store in log lines.
  DeletedRecords(std::string storeId, std::unique_ptr<View> before);

  // Fills in the next ones; whether there are any more. What can't be read is left out.
  bool Take(Change& piece);

 private:
  const std::string storeId_;
  const std::unique_ptr<View> before_;
  const std::unique_ptr<Cursor> cursor_;
};

}  // namespace KORA::DistributedKv::Client
