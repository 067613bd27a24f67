#include "store/prefix_rows.h"

#include <utility>

#include "store/record.h"
#include "store/record_reader.h"

namespace KORA::DistributedKv::Client {

PrefixRows::PrefixRows(std::string storeId, std::unique_ptr<View> snapshot, Bytes prefix)
    : storeId_(std::move(storeId)),
      snapshot_(std::move(snapshot)),
      cursor_(snapshot_->Entries(RecordKey(prefix))) {}

Status PrefixRows::Read(Entry& entry) const {
  return ReadEntry(*cursor_, storeId_, entry);
}

}  // namespace KORA::DistributedKv::Client
