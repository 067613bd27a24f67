#include "store/change.h"

#include <optional>
#include <utility>

#include "store/record.h"

namespace KORA::DistributedKv::Client {

namespace {

Blob ValueOf(Bytes stored) {
  const std::optional<Record> record = ParseRecord(stored);
  return record ? ToBlob(record->value) : Blob();
}

// No value: there is no such record. SUCCESS or DB_ERROR.
Status ReadValue(const View& view, Bytes engineKey, std::optional<Blob>& value) {
  const Status status = view.Get(engineKey, [&value](Bytes stored) { value = ValueOf(stored); });
  return status == Status::KEY_NOT_FOUND ? Status::SUCCESS : status;
}

}  // namespace

Status DescribeChange(const IndexedBatch& batch, const View& before, Change& change) {
  Status result = Status::SUCCESS;
  batch.Changes(kRecordSpace, [&](Bytes engineKey, const std::optional<Bytes>& written) {
    std::optional<Blob> old;
    if (result != Status::SUCCESS) return;
    result = ReadValue(before, engineKey, old);
    if (result != Status::SUCCESS || (!written && !old)) return;

    std::list<Entry>& kind = !written ? change.deleted : old ? change.updated : change.inserted;
    kind.emplace_back(ToBlob(KeyOfRecord(engineKey)), written ? ValueOf(*written) : std::move(*old));
    change.bytes += kind.back().key.Size() + kind.back().value.Size();
  });
  return result;
}

}  // namespace KORA::DistributedKv::Client
