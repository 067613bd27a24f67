// Reads records the way the contract shows them, whatever the view.
#pragma once

#include <string>
#include <vector>

#include "contract/blob.h"
#include "contract/entry.h"
#include "engine/engine.h"

namespace KORA::DistributedKv::Client {

// Borrows both. The results are filled on success only; a damaged record is DB_ERROR.
class RecordReader {
 public:
  // Names the store in log lines.
  RecordReader(const View& view, const std::string& storeId) : view_(view), storeId_(storeId) {}

  Status Get(const Key& key, Value& value) const;
  // In the order of the key bytes, as is GetKeys.
  Status GetEntries(const Key& prefix, std::vector<Entry>& entries) const;
  Status GetKeys(const Key& prefix, std::vector<Key>& keys) const;

 private:
  template <typename Items, typename Append>
  Status Collect(const Key& prefix, Items& items, Append append) const;

  const View& view_;
  const std::string& storeId_;
};

// The entry of the record at which the cursor stands. SUCCESS or DB_ERROR.
Status ReadEntry(const Cursor& cursor, const std::string& storeId, Entry& entry);

// Says so in the log; DB_ERROR.
Status DamagedRecord(const std::string& storeId);

}  // namespace KORA::DistributedKv::Client
