#include "schema/indexing_batch.h"

#include <algorithm>

#include "store/record.h"

namespace KORA::DistributedKv::Client {

// One key an index, or none at all.
std::vector<std::string> IndexingBatch::KeysOf(Bytes key, Bytes value) {
  std::vector<std::string> keys;
  const std::optional<JsonObject> document = ParseDocument(value, parser_);
  if (!document) return keys;
  for (const Index& index : indexes_) keys.push_back(index.KeyFor(*document, key));
  return keys;
}

std::vector<std::string> IndexingBatch::KeysBefore(Bytes engineKey) {
  std::vector<std::string> keys;
  const Status status = batch_.Get(engineKey, [&](Bytes stored) {
    if (const std::optional<Record> record = ParseRecord(stored))
      keys = KeysOf(KeyOfRecord(engineKey), record->value);
  });
  if (status == Status::DB_ERROR) result_ = status;
  return keys;
}

void IndexingBatch::Put(Bytes key, Bytes head, Bytes body) {
  const std::vector<std::string> before = KeysBefore(key);
  const std::vector<std::string> after = KeysOf(KeyOfRecord(key), body);
  for (const std::string& index_key : before) {
    if (std::find(after.begin(), after.end(), index_key) == after.end()) batch_.Delete(index_key);
  }
  for (const std::string& index_key : after) {
    if (std::find(before.begin(), before.end(), index_key) == before.end()) batch_.Put(index_key, {}, {});
  }
  batch_.Put(key, head, body);
}

void IndexingBatch::Delete(Bytes key) {
  for (const std::string& index_key : KeysBefore(key)) batch_.Delete(index_key);
  batch_.Delete(key);
}

}  // namespace KORA::DistributedKv::Client
