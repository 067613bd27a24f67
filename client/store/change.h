// What one commit changes, as observers are told of it.
#pragma once

#include <cstddef>
#include <list>

#include "contract/entry.h"
#include "engine/engine.h"

namespace KORA::DistributedKv::Client {

// One entry a key, with the value after the commit; deleted entries carry the last value.
struct Change {
  std::list<Entry> inserted;
  std::list<Entry> updated;
  std::list<Entry> deleted;
  size_t bytes = 0;  // of all keys and values

  size_t Entries() const { return inserted.size() + updated.size() + deleted.size(); }
};

// Compares the records that `batch` writes with those that `before` holds: a key that comes and goes within
// the batch is no change. SUCCESS or DB_ERROR.
Status DescribeChange(const IndexedBatch& batch, const View& before, Change& change);

}  // namespace KORA::DistributedKv::Client
