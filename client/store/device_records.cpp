#include "store/device_records.h"

#include "common/limits.h"
#include "store/record.h"
#include "store/record_reader.h"

namespace KORA::DistributedKv::Client {

Status DeviceRecords::TakeKeys(uint32_t device, std::string& from, std::vector<Key>& keys) const {
  constexpr size_t kSlice = 8 * kMebibyte;  // bytes of keys and values
  const std::unique_ptr<Cursor> cursor = view_.Entries(kRecordSpace);
  size_t seen = 0;
  for (cursor->Seek(from); cursor->Valid() && seen < kSlice; cursor->Next()) {
    const std::optional<Record> record = ParseRecord(cursor->Value());
    if (!record) return DamagedRecord(storeId_);
    if (record->device == device) keys.push_back(ToBlob(KeyOfRecord(cursor->Key())));
    seen += cursor->Key().size() + cursor->Value().size();
  }
  from = cursor->Valid() ? cursor->Key() : Bytes();
  return cursor->Result();
}

}  // namespace KORA::DistributedKv::Client
