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

std::optional<uint32_t> DeviceOf(Bytes stored) {
  const std::optional<Record> record = ParseRecord(stored);
  return record ? std::optional(record->device) : std::nullopt;
}

// The device that deleted a record in the batch.
std::optional<uint32_t> DeleterOf(const IndexedBatch& batch, Bytes engineKey) {
  std::optional<uint32_t> device;
  batch.Get(TombstoneKey(KeyOfRecord(engineKey)), [&device](Bytes stored) { device = DeviceOf(stored); });
  return device;
}

// `changeFor` is given a key and what is written to it, and answers the change that it belongs to.
template <typename ChangeFor>
Status Describe(const IndexedBatch& batch, const View& before, ChangeFor changeFor) {
  Status result = Status::SUCCESS;
  batch.Changes(kRecordSpace, [&](Bytes engineKey, const std::optional<Bytes>& written) {
    std::optional<Blob> old;
    if (result != Status::SUCCESS) return;
    result = ReadValue(before, engineKey, old);
    if (result != Status::SUCCESS || (!written && !old)) return;

    Change& change = changeFor(engineKey, written);
    std::list<Entry>& kind = !written ? change.deleted : old ? change.updated : change.inserted;
    kind.emplace_back(ToBlob(KeyOfRecord(engineKey)), written ? ValueOf(*written) : std::move(*old));
    change.bytes += kind.back().key.Size() + kind.back().value.Size();
  });
  return result;
}

}  // namespace

Status DescribeChange(const IndexedBatch& batch, const View& before, Change& change) {
  return Describe(batch, before, [&](Bytes, const std::optional<Bytes>&) -> Change& { return change; });
}

Status DescribeChanges(const IndexedBatch& batch, const View& before, ChangesByDevice& changes) {
  return Describe(batch, before, [&](Bytes engineKey, const std::optional<Bytes>& written) -> Change& {
    return changes[written ? DeviceOf(*written) : DeleterOf(batch, engineKey)];
  });
}

}  // namespace KORA::DistributedKv::Client
