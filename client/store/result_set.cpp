#include "store/result_set.h"

#include <algorithm>
#include <utility>

namespace KORA::DistributedKv::Client {

Status ResultSet::Open(std::shared_ptr<Store> store, std::unique_ptr<Rows> rows,
                       std::unique_ptr<KvStoreResultSet>& opened) {
  auto indexed = std::make_unique<IndexedRows>(std::move(rows));
  int32_t count = 0;
  if (const Status status = indexed->Count(count); status != Status::SUCCESS) return status;
  opened =
      std::make_unique<ResultSet>(std::make_unique<RowReader>(std::move(store), std::move(indexed)), count);
  return Status::SUCCESS;
}

Status ResultSet::GetEntry(Entry& entry) const {
  return rows_->Call(
      [&](IndexedRows& rows) { return HasEntry() ? rows.Read(position_, entry) : Status::KEY_NOT_FOUND; });
}

bool ResultSet::IsOpen() const {
  return rows_->Call([](IndexedRows&) { return Status::SUCCESS; }) != Status::STORE_NOT_OPEN;
}

bool ResultSet::GoTo(int64_t position) {
  if (!IsOpen()) return false;
  position_ = static_cast<int32_t>(std::clamp<int64_t>(position, kBeforeFirst, count_));
  return HasEntry();
}

}  // namespace KORA::DistributedKv::Client
