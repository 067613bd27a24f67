#include "store/device_records.h"

#include "common/big_endian.h"
#include "common/limits.h"
#include "store/record.h"
#include "store/record_reader.h"

namespace KORA::DistributedKv::Client {

Status DeviceRecords::FindNumber(const std::string& deviceId, std::optional<uint32_t>& number) const {
  const std::unique_ptr<Cursor> cursor = view_.Entries(kDeviceSpace);
  for (; cursor->Valid(); cursor->Next()) {
    if (cursor->Value() != deviceId) continue;
    Bytes rest = cursor->Key().substr(kDeviceSpace.size());
    uint32_t found = 0;
    if (TakeBigEndian(rest, found) && rest.empty()) number = found;
  }
  return cursor->Result();
}

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
