// A cursor over rows.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>

#include "contract/kv_store_result_set.h"
#include "store/indexed_rows.h"
#include "store/store_reader.h"

namespace KORA::DistributedKv::Client {

// Moves are arithmetic, only GetEntry reads: so a position is exact even if its entry can't be read. A move
// that would go beyond either end stands right there. GetEntry answers KEY_NOT_FOUND where there is no entry
// and DB_ERROR for a damaged one. Once the store has failed GetEntry answers DB_ERROR, and moves go on: who
// walks meets the failure instead of an early end. Once the store is closed, moves and questions answer false
// and GetEntry STORE_NOT_OPEN; count and position stay.
class ResultSet : public KvStoreResultSet {
 public:
  using RowReader = StoreReader<IndexedRows>;

  // Counts the rows.
  static Status Open(std::shared_ptr<Store> store, std::unique_ptr<Rows> rows,
                     std::unique_ptr<KvStoreResultSet>& opened);

  ResultSet(std::unique_ptr<RowReader> rows, int32_t count) : rows_(std::move(rows)), count_(count) {}

  int32_t GetCount() const override { return count_; }
  int32_t GetPosition() const override { return position_; }
  bool MoveToFirst() override { return GoTo(0); }
  bool MoveToLast() override { return GoTo(int64_t{count_} - 1); }
  bool MoveToNext() override { return Move(1); }
  bool MoveToPrevious() override { return Move(-1); }
  bool Move(int32_t offset) override { return GoTo(int64_t{position_} + offset); }
  bool MoveToPosition(int32_t position) override { return GoTo(position); }
  bool IsFirst() const override { return HasEntry() && position_ == 0 && IsOpen(); }
  bool IsLast() const override { return HasEntry() && position_ == count_ - 1 && IsOpen(); }
  bool IsBeforeFirst() const override { return position_ == kBeforeFirst && IsOpen(); }
  bool IsAfterLast() const override { return position_ == count_ && IsOpen(); }
  Status GetEntry(Entry& entry) const override;

 private:
  static constexpr int32_t kBeforeFirst = -1;

  bool HasEntry() const { return position_ >= 0 && position_ < count_; }
  bool IsOpen() const;
  bool GoTo(int64_t position);

  const std::unique_ptr<RowReader> rows_;
  const int32_t count_;
  int32_t position_ = kBeforeFirst;
};

}  // namespace KORA::DistributedKv::Client
