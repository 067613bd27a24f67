// Walks the entries of one range of a plan that match a query.
#pragma once

#include <memory>
#include <optional>
#include <string>

#include "engine/engine.h"
#include "query/plan.h"
#include "query/query.h"
#include "store/record.h"

namespace KORA::DistributedKv::Client {

// Borrows all that it is made of. Stands at the first match. One thread at a time; what it answers holds
// until the next move.
class MatchCursor {
 public:
  // `range` is one of the plan's.
  MatchCursor(const View& view, const Query& query, const Plan& plan, const KeyRange& range);

  bool Valid() const { return valid_; }
  void Next();
  void Prev();
  // To the match at a place, or the first behind it.
  void Seek(Bytes place);
  Bytes Place() const { return entries_->Key(); }

  Bytes Key() const { return key_; }
  Bytes Value() const { return record_.value; }
  // For a query with an order that its plan does not yield. Nothing: the value is no document.
  const std::optional<JsonObject>& Document() const { return document_; }
  // For a cursor that stays where it is: takes the document away, with the memory that a large one needs.
  void Rest() {
    document_.reset();
    parser_.Trim();
  }

  // SUCCESS beyond either end, else DB_ERROR.
  Status Result() const { return failure_ == Status::SUCCESS ? entries_->Result() : failure_; }

 private:
  template <typename Step>
  void Find(Step step);
  bool InRange() const;
  bool Load();
  bool LoadIndexed();
  bool Matches();
  bool Fail(const char* reason);

  const View& view_;
  const Query& query_;
  const Plan& plan_;
  const KeyRange& range_;
  const std::unique_ptr<Cursor> entries_;
  JsonParser parser_;
  std::string stored_;  // of an entry that was found by an index
  Bytes key_;
  Record record_;
  std::optional<JsonObject> document_;
  bool valid_ = false;
  Status failure_ = Status::SUCCESS;
};

}  // namespace KORA::DistributedKv::Client
