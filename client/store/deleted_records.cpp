#include "store/deleted_records.h"

#include <utility>

#include "notify/publisher.h"
#include "store/record.h"
#include "store/record_reader.h"

namespace KORA::DistributedKv::Client {

DeletedRecords::DeletedRecords(std::string storeId, std::unique_ptr<View> before, Filter filter)
    : storeId_(std::move(storeId)),
      filter_(std::move(filter)),
      before_(std::move(before)),
      cursor_(before_->Entries(kRecordSpace)) {}

bool DeletedRecords::Take(Change& piece) {
  const auto isFull = [&piece] {
    return piece.Entries() >= kMaxWaitingEntries || piece.bytes >= kMaxWaitingBytes;
  };
  for (; cursor_->Valid() && !isFull(); cursor_->Next()) {
    const std::optional<Record> record = ParseRecord(cursor_->Value());
    if (record && (!filter_ || filter_(record->device))) Add(piece);
  }
  return cursor_->Valid();
}

void DeletedRecords::Add(Change& piece) const {
  Entry entry;
  if (ReadEntry(*cursor_, storeId_, entry) != Status::SUCCESS) return;
  piece.bytes += entry.key.Size() + entry.value.Size();
  piece.deleted.push_back(std::move(entry));
}

}  // namespace KORA::DistributedKv::Client
