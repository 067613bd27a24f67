#include "store/record_reader.h"

#include <memory>
#include <optional>
#include <utility>

#include "common/log.h"
#include "store/checks.h"
#include "store/record.h"

namespace KORA::DistributedKv::Client {

Status DamagedRecord(const std::string& storeId) {
  __android_log_print(KORA_LOG_ERROR, kLogTag, "store %s: a record is damaged or of an unknown format",
                      storeId.c_str());
  return Status::DB_ERROR;
}

Status ReadEntry(const Cursor& cursor, const std::string& storeId, Entry& entry) {
  const std::optional<Record> record = ParseRecord(cursor.Value());
  if (!record) return DamagedRecord(storeId);
  entry.key = ToBlob(KeyOfRecord(cursor.Key()));
  entry.value = ToBlob(record->value);
  return Status::SUCCESS;
}

Status RecordReader::Get(const Key& key, Value& value) const {
  if (const Status status = CheckKey(key); status != Status::SUCCESS) return status;
  bool damaged = false;
  const Status status = view_.Get(RecordKey(ToBytes(key)), [&](Bytes stored) {
    const std::optional<Record> record = ParseRecord(stored);
    damaged = !record;
    if (record) value = ToBlob(record->value);
  });
  return damaged ? DamagedRecord(storeId_) : status;
}

Status RecordReader::GetEntries(const Key& prefix, std::vector<Entry>& entries) const {
  return Collect(prefix, entries, [this](const Cursor& cursor, std::vector<Entry>& found) {
    return ReadEntry(cursor, storeId_, found.emplace_back());
  });
}

Status RecordReader::GetKeys(const Key& prefix, std::vector<Key>& keys) const {
  return Collect(prefix, keys, [](const Cursor& cursor, std::vector<Key>& found) {
    found.push_back(ToBlob(KeyOfRecord(cursor.Key())));
    return Status::SUCCESS;
  });
}

template <typename Items, typename Append>
Status RecordReader::Collect(const Key& prefix, Items& items, Append append) const {
  Items found;
  const std::unique_ptr<Cursor> cursor = view_.Entries(RecordKey(ToBytes(prefix)));
  for (; cursor->Valid(); cursor->Next()) {
    if (const Status status = append(*cursor, found); status != Status::SUCCESS) return status;
  }
  const Status status = cursor->Result();
  if (status == Status::SUCCESS) items = std::move(found);
  return status;
}

}  // namespace KORA::DistributedKv::Client
