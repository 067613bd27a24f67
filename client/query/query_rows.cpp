#include "query/query_rows.h"

#include <algorithm>
#include <cstring>
#include <utility>
#include <vector>

#include "query/match_cursor.h"

namespace KORA::DistributedKv::Client {

namespace {

Entry ToEntry(Bytes key, Bytes value) {
  return {ToBlob(key), ToBlob(value)};
}

// What rows read from, and go on to read from.
struct Source {
  std::shared_ptr<const View> view;
  Query query;
  Plan plan;
};

// Matches that the engine has in the right order.
class StreamedRows : public Rows {
 public:
  explicit StreamedRows(Source&& source)
      : source_(std::move(source)),
        matches_(*source_.view, source_.query, source_.plan, source_.plan.ranges.front()),
        left_(source_.query.limit) {
    for (uint64_t i = 0; i < source_.query.offset && matches_.Valid(); ++i) matches_.Next();
    matches_.Rest();
  }

  bool Valid() const override { return left_ > 0 && matches_.Valid(); }
  void Next() override {
    if (left_ != kUnlimited) --left_;
    if (left_ > 0) matches_.Next();
    matches_.Rest();
  }
  void Prev() override {
    if (left_ != kUnlimited) ++left_;
    matches_.Prev();
    matches_.Rest();
  }
  // Only the way from the first row leads to the end that a limit sets.
  void Seek(Bytes place) override {
    left_ = kUnlimited;
    matches_.Seek(place);
    matches_.Rest();
  }
  Bytes Place() const override { return matches_.Place(); }
  Status Read(Entry& entry) const override {
    entry = ToEntry(matches_.Key(), matches_.Value());
    return Status::SUCCESS;
  }
  Status Result() const override { return matches_.Result(); }

 private:
  const Source source_;
  MatchCursor matches_;
  uint64_t left_;
};

// Matches that had to be sorted.
class SortedRows : public Rows {
 public:
  explicit SortedRows(Source&& source) : source_(std::move(source)) {}

  Status Sort() {
    for (const KeyRange& range : source_.plan.ranges) {
      MatchCursor matches(*source_.view, source_.query, source_.plan, range);
      for (; matches.Valid(); matches.Next()) Add(matches);
      if (const Status status = matches.Result(); status != Status::SUCCESS) return status;
    }
    std::sort(matches_.begin(), matches_.end());
    KeepKeys();
    return Status::SUCCESS;
  }

  bool Valid() const override { return at_ < keys_.size(); }
  void Next() override { ++at_; }
  void Prev() override { --at_; }  // from the first row to beyond the last one
  void Seek(Bytes place) override {
    size_t row = 0;
    std::memcpy(&row, place.data(), sizeof row);
    at_ = row;
  }
  Bytes Place() const override { return {reinterpret_cast<const char*>(&at_), sizeof at_}; }
  Status Read(Entry& entry) const override {
    const std::string& key = keys_[at_];
    bool damaged = false;
    const Status status = source_.view->Get(RecordKey(key), [&](Bytes stored) {
      const std::optional<Record> record = ParseRecord(stored);
      damaged = !record;
      if (record) entry = ToEntry(key, record->value);
    });
    return damaged ? Status::DB_ERROR : status;
  }
  Status Result() const override { return Status::SUCCESS; }

 private:
  using Match = std::pair<std::string, std::string>;  // ordered form, key

  void Add(const MatchCursor& match) {
    matches_.emplace_back(FormOf(match), match.Key());
    // With a limit, only the matches before it count.
    constexpr size_t kSpare = 1024;
    const uint64_t end = End();
    if (matches_.size() < kSpare || matches_.size() / 2 < end) return;
    std::nth_element(matches_.begin(), matches_.begin() + static_cast<ptrdiff_t>(end), matches_.end());
    matches_.resize(end);
  }

  std::string FormOf(const MatchCursor& match) const {
    std::string form;
    for (const Order& order : source_.query.order) {
      const auto begin = static_cast<ptrdiff_t>(form.size());
      AppendOrdered(match.Document() ? order.field.Of(*match.Document()) : Scalar(), form);
      if (order.descending)
        std::for_each(form.begin() + begin, form.end(), [](char& byte) { byte = static_cast<char>(~byte); });
    }
    return form;
  }

  // One behind the last match that counts.
  uint64_t End() const {
    const uint64_t end = source_.query.offset + source_.query.limit;
    return end < source_.query.offset ? kUnlimited : end;
  }

  void KeepKeys() {
    const uint64_t end = std::min<uint64_t>(matches_.size(), End());
    const uint64_t begin = std::min(end, source_.query.offset);
    keys_.reserve(end - begin);
    for (uint64_t i = begin; i < end; ++i) keys_.push_back(std::move(matches_[i].second));
    std::vector<Match>().swap(matches_);
  }

  const Source source_;
  std::vector<Match> matches_;  // while they are sorted
  std::vector<std::string> keys_;
  size_t at_ = 0;
};

}  // namespace

Status OpenRows(std::shared_ptr<const View> view, Query query, const Catalog& catalog,
                std::unique_ptr<Rows>& rows) {
  Plan plan = MakePlan(query, catalog.Indexes());
  Source source{std::move(view), std::move(query), std::move(plan)};
  if (source.plan.ordered) {
    rows = std::make_unique<StreamedRows>(std::move(source));
    return rows->Result();
  }
  auto sorted = std::make_unique<SortedRows>(std::move(source));
  const Status status = sorted->Sort();
  if (status == Status::SUCCESS) rows = std::move(sorted);
  return status;
}

}  // namespace KORA::DistributedKv::Client
