#include "store/indexed_rows.h"

#include <cstdlib>
#include <limits>

#include "common/limits.h"
#include "common/log.h"

namespace KORA::DistributedKv::Client {

namespace {

constexpr size_t kMaxIndexSize = kMebibyte;
// A seek costs about as much as this many steps.
constexpr int64_t kSeekInSteps = 16;

}  // namespace

void PlaceIndex::Append(Bytes place) {
  if (rows_++ % interval_ != 0) return;
  places_.append(place);
  ends_.push_back(places_.size());
  if (places_.size() + ends_.size() * sizeof(size_t) > kMaxIndexSize) ForgetEverySecond();
}

void PlaceIndex::ForgetEverySecond() {
  std::string kept;
  std::vector<size_t> ends;
  for (size_t i = 0; i < ends_.size(); i += 2) {
    kept.append(PlaceOf(static_cast<int64_t>(i) * interval_));
    ends.push_back(kept.size());
  }
  places_ = std::move(kept);
  ends_ = std::move(ends);
  interval_ *= 2;
}

Bytes PlaceIndex::PlaceOf(int64_t nearest) const {
  const auto i = static_cast<size_t>(nearest / interval_);
  const size_t begin = i == 0 ? 0 : ends_[i - 1];
  return Bytes(places_).substr(begin, ends_[i] - begin);
}

Status IndexedRows::Count(int32_t& count) {
  constexpr int64_t kMaxRows = std::numeric_limits<int32_t>::max();
  int64_t rows = 0;
  for (; rows_->Valid() && rows <= kMaxRows; rows_->Next(), ++rows) index_.Append(rows_->Place());
  if (const Status status = rows_->Result(); status != Status::SUCCESS) return status;
  if (rows > kMaxRows) {
    __android_log_print(KORA_LOG_WARN, kLogTag, "refused: a result set of more than %d entries",
                        static_cast<int>(kMaxRows));
    return Status::ERROR;
  }
  count = static_cast<int32_t>(rows);
  return Status::SUCCESS;
}

Status IndexedRows::Read(int32_t row, Entry& entry) {
  const Status status = MoveTo(row);
  if (status != Status::SUCCESS) current_ = kNowhere;
  return status == Status::SUCCESS ? rows_->Read(entry) : status;
}

Status IndexedRows::MoveTo(int64_t row) {
  const int64_t nearest = index_.NearestTo(row);
  if (current_ == kNowhere || std::abs(row - current_) > row - nearest + kSeekInSteps) {
    rows_->Seek(index_.PlaceOf(nearest));
    current_ = nearest;
  }
  for (; current_ < row && rows_->Valid(); ++current_) rows_->Next();
  for (; current_ > row && rows_->Valid(); --current_) rows_->Prev();
  if (rows_->Valid()) return Status::SUCCESS;
  // The row was there when it was counted.
  const Status status = rows_->Result();
  return status == Status::SUCCESS ? Status::DB_ERROR : status;
}

}  // namespace KORA::DistributedKv::Client
