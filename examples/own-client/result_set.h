// A cursor over entries that were copied when it was made.
#pragma once

#include <algorithm>
#include <cstdint>
#include <utility>
#include <vector>

#include "contract/kv_store_result_set.h"
#include "guarded.h"
#include "records.h"

namespace OwnClient {

class ResultSet final : public KORA::DistributedKv::KvStoreResultSet {
 public:
  explicit ResultSet(std::vector<Entry> entries) : entries_(std::move(entries)) {}

  int32_t GetCount() const override { return static_cast<int32_t>(entries_.size()); }
  int32_t GetPosition() const override { return position_; }
  bool MoveToFirst() override { return MoveToPosition(0); }
  bool MoveToLast() override { return MoveTo(int64_t{GetCount()} - 1); }
  bool MoveToNext() override { return Move(1); }
  bool MoveToPrevious() override { return Move(-1); }
  bool Move(int32_t offset) override { return MoveTo(int64_t{position_} + offset); }
  bool MoveToPosition(int32_t position) override { return MoveTo(position); }
  bool IsFirst() const override { return position_ == 0 && OnEntry(); }
  bool IsLast() const override { return position_ == GetCount() - 1 && OnEntry(); }
  bool IsBeforeFirst() const override { return position_ < 0; }
  bool IsAfterLast() const override { return position_ >= GetCount(); }

  KORA::DistributedKv::Status GetEntry(Entry& entry) const override {
    using KORA::DistributedKv::Status;
    if (!OnEntry()) return Status::KEY_NOT_FOUND;
    return Guarded([&] {
      entry = entries_[static_cast<size_t>(position_)];
      return Status::SUCCESS;
    });
  }

 private:
  bool OnEntry() const { return position_ >= 0 && position_ < GetCount(); }

  // 64 bits, since a position and an offset may add up to more than 32 hold; a move past an end stays there.
  bool MoveTo(int64_t position) {
    position_ = static_cast<int32_t>(std::clamp<int64_t>(position, -1, GetCount()));
    return OnEntry();
  }

  const std::vector<Entry> entries_;
  int32_t position_ = -1;
};

}  // namespace OwnClient
