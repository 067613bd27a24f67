#include "store/deleted_records.h"

#include <utility>

#include "notify/publisher.h"
#include "store/record.h"
#include "store/record_reader.h"

namespace KORA::DistributedKv::Client {

DeletedRecords::DeletedRecords(std::string storeId, std::unique_ptr<View> before)
    : storeId_(std::move(storeId)), before_(std::move(before)), cursor_(before_->Entries(kRecordSpace)) {}

bool DeletedRecords::Take(Change& piece) {
  const auto isFull = [&piece] {
    return piece.Entries() >= kMaxWaitingEntries || piece.bytes >= kMaxWaitingBytes;
  };
  for (; cursor_->Valid() && !isFull(); cursor_->Next()) {
    Entry entry;
    if (ReadEntry(*cursor_, storeId_, entry) != Status::SUCCESS) continue;
    piece.bytes += entry.key.Size() + entry.value.Size();
    piece.deleted.push_back(std::move(entry));
  }
  return cursor_->Valid();
}

}  // namespace KORA::DistributedKv::Client
