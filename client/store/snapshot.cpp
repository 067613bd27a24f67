#include "store/snapshot.h"

#include "store/record_reader.h"

namespace KORA::DistributedKv::Client {

namespace {

template <typename Items>
void Answer(const std::function<void(Status, std::vector<Items>&)>& callback, Status status,
            std::vector<Items>& items) {
  Guard([&] { callback(status, items); });
}

}  // namespace

template <typename Read>
Status Snapshot::Call(Read read) const {
  return view_->Call([&](const View& view) { return read(RecordReader(view, storeId_)); });
}

Status Snapshot::Get(const Key& key, Value& value) {
  return Call([&](const RecordReader& records) { return records.Get(key, value); });
}

void Snapshot::GetEntries(const Key& prefixKey, std::function<void(Status, std::vector<Entry>&)> callback) {
  std::vector<Entry> entries;
  const Status status =
      Call([&](const RecordReader& records) { return records.GetEntries(prefixKey, entries); });
  Answer(callback, status, entries);
}

void Snapshot::GetKeys(const Key& prefixKey, std::function<void(Status, std::vector<Key>&)> callback) {
  std::vector<Key> keys;
  const Status status = Call([&](const RecordReader& records) { return records.GetKeys(prefixKey, keys); });
  Answer(callback, status, keys);
}

}  // namespace KORA::DistributedKv::Client
