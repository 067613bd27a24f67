// What one commit changes, as observers are told of it.
#pragma once

#include <cstddef>
#include <list>
#include <map>
#include <optional>
#include <string>

#include "contract/entry.h"
#include "engine/engine.h"

namespace KORA::DistributedKv::Client {

// One entry a key, with the value after the commit; deleted entries carry the last value.
struct Change {
  std::list<Entry> inserted;
  std::list<Entry> updated;
  std::list<Entry> deleted;
  size_t bytes = 0;  // of all keys and values
  // The device that made it, where the change came from others; empty: nobody knows. Nothing: this one did.
  std::optional<std::string> maker;

  size_t Entries() const { return inserted.size() + updated.size() + deleted.size(); }
};

// By the number of the device that wrote or deleted the records; nothing: they go without a trace.
using ChangesByDevice = std::map<std::optional<uint32_t>, Change>;

// Compares the records that `batch` writes with those that `before` holds: a key that comes and goes within
// the batch is no change. SUCCESS or DB_ERROR.
Status DescribeChange(const IndexedBatch& batch, const View& before, Change& change);
// The same for what several devices have done.
Status DescribeChanges(const IndexedBatch& batch, const View& before, ChangesByDevice& changes);

}  // namespace KORA::DistributedKv::Client
