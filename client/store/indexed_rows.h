// Rows by their numbers.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "store/rows.h"

namespace KORA::DistributedKv::Client {

// The places of every n-th row, in bounded memory: n begins with 1, and when the bound is met, every second
// place is forgotten.
class PlaceIndex {
 public:
  // Takes the rows one after the other, from the first.
  void Append(Bytes place);

  // The last row with a known place that is not after `row`.
  int64_t NearestTo(int64_t row) const { return row - row % interval_; }
  Bytes PlaceOf(int64_t nearest) const;

 private:
  void ForgetEverySecond();

  int64_t rows_ = 0;
  int64_t interval_ = 1;
  std::string places_;  // one behind the other
  std::vector<size_t> ends_;
};

// One thread at a time.
class IndexedRows {
 public:
  explicit IndexedRows(std::unique_ptr<Rows> rows) : rows_(std::move(rows)) {}

  // Walks all rows, once, before Read. SUCCESS; DB_ERROR; ERROR for more rows than an int32_t counts.
  Status Count(int32_t& count);

  // The entry of a row from 0 to the count less 1. A row near the last one read is walked to; the way to any
  // other is no longer than from the nearest known place.
  Status Read(int32_t row, Entry& entry);

 private:
  static constexpr int64_t kNowhere = -1;

  Status MoveTo(int64_t row);

  const std::unique_ptr<Rows> rows_;
  PlaceIndex index_;
  int64_t current_ = kNowhere;  // the row at which rows_ stands
};

}  // namespace KORA::DistributedKv::Client
