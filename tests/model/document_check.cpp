#include "document_check.h"

#include "query_model.h"
#include "writes.h"

namespace KORA::DistributedKv::Model {

void DocumentCheck::Step(Chance& chance) {
  const uint32_t kind = chance.Below(100);
  if (kind < 45) {
    PutDocument(chance);
  } else if (kind < 65) {
    Delete(*store_, model_, chance);
  } else if (kind < 70) {
    DeleteBatch(*store_, model_, chance);
  } else if (kind < 80) {
    StepTransaction(*store_, model_, chance);
  } else {
    Query(chance);
  }
}

void DocumentCheck::Reopen(Chance& chance) {
  Close();
  Open();
  Query(chance);
}

void DocumentCheck::PutDocument(Chance& chance) {
  const std::string key = chance.Key();
  const std::string value = RandomDocument(chance);
  Expect("Put", store_->Put(ToBlob(key), ToBlob(value)), Status::SUCCESS);
  model_.Now()[key] = value;
}

void DocumentCheck::Query(Chance& chance) const {
  const QueryModel query = RandomQuery(chance);
  const Rows expected = query.answer(model_);
  std::vector<Entry> entries;
  Expect(query.text.c_str(), store_->GetEntriesWithQuery(query.text, entries), Status::SUCCESS);
  Expect(query.text.c_str(), ToRows(entries), expected);
  int32_t count = -1;
  Expect(query.text.c_str(), store_->GetCountWithQuery(query.text, count), Status::SUCCESS);
  Expect(query.text.c_str(), static_cast<size_t>(count), expected.size());
  Walk(query.text, expected, chance);
}

// In a result set, from one random position to the other.
void DocumentCheck::Walk(const std::string& query, const Rows& expected, Chance& chance) const {
  std::unique_ptr<KvStoreResultSet> resultSet;
  store_->GetResultSetWithQuery(
      query, [&](Status, std::unique_ptr<KvStoreResultSet> opened) { resultSet = std::move(opened); });
  Expect(query.c_str(), resultSet != nullptr, true);
  const auto count = static_cast<int32_t>(expected.size());
  Expect(query.c_str(), resultSet->GetCount(), count);
  for (int steps = 0; steps < 10; ++steps) {
    const int32_t position = chance.Between(-1, count);
    const bool there = position >= 0 && position < count;
    Expect(query.c_str(), resultSet->MoveToPosition(position), there);
    Entry entry;
    if (!there) continue;
    Expect(query.c_str(), resultSet->GetEntry(entry), Status::SUCCESS);
    Expect(query.c_str(), ToRows({entry}), Rows{expected[static_cast<size_t>(position)]});
  }
}

}  // namespace KORA::DistributedKv::Model
