#include "query/match_cursor.h"

#include "common/log.h"
#include "query/condition.h"

namespace KORA::DistributedKv::Client {

MatchCursor::MatchCursor(const View& view, const Query& query, const Plan& plan, const KeyRange& range)
    : view_(view),
      query_(query),
      plan_(plan),
      range_(range),
      entries_(view.Entries(plan.index == nullptr ? std::string(kRecordSpace) : plan.index->Space())) {
  Seek(range_.from);
}

void MatchCursor::Seek(Bytes place) {
  // The place may be this cursor's own.
  entries_->Seek(std::string(place));
  Find([this] { entries_->Next(); });
}

void MatchCursor::Next() {
  entries_->Next();
  Find([this] { entries_->Next(); });
}

void MatchCursor::Prev() {
  entries_->Prev();
  Find([this] { entries_->Prev(); });
}

// The next match in the direction of `step`, from the present entry on.
template <typename Step>
void MatchCursor::Find(Step step) {
  for (valid_ = false; !valid_ && InRange();) {
    valid_ = Load();
    if (!valid_) step();
  }
}

bool MatchCursor::InRange() const {
  return failure_ == Status::SUCCESS && entries_->Valid() && entries_->Key() >= range_.from &&
         entries_->Key() < range_.to;
}

// Whether the entry matches.
bool MatchCursor::Load() {
  if (plan_.index != nullptr) return LoadIndexed();
  key_ = KeyOfRecord(entries_->Key());
  const std::optional<Record> record = ParseRecord(entries_->Value());
  if (!record) return Fail("a record is damaged");
  record_ = *record;
  return Matches();
}

bool MatchCursor::LoadIndexed() {
  const std::optional<Bytes> key = plan_.index->KeyOfRecordIn(entries_->Key());
  if (!key) return Fail("an index is damaged");
  key_ = *key;
  if (key_.substr(0, query_.prefix.size()) != query_.prefix) return false;
  if (view_.Get(RecordKey(key_), [this](Bytes stored) { stored_ = stored; }) != Status::SUCCESS)
    return Fail("an index leads to no record");
  const std::optional<Record> record = ParseRecord(stored_);
  if (!record) return Fail("a record is damaged");
  record_ = *record;
  return Matches();
}

bool MatchCursor::Matches() {
  if (query_.writer && record_.device != *query_.writer) return false;
  document_.reset();
  if (plan_.exact && (plan_.ordered || query_.order.empty())) return true;
  document_ = ParseDocument(record_.value, parser_);
  return plan_.exact || (document_ && Client::Matches(*query_.where, *document_));
}

bool MatchCursor::Fail(const char* reason) {
  __android_log_print(KORA_LOG_ERROR, kLogTag, "a query failed: %s", reason);
  failure_ = Status::DB_ERROR;
  return false;
}

}  // namespace KORA::DistributedKv::Client
