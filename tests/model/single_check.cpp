#include "single_check.h"

#include <algorithm>
#include <limits>

#include "writes.h"

namespace KORA::DistributedKv::Model {

namespace {

constexpr size_t kMaxCursors = 6;

}  // namespace

void SingleCheck::Step(Chance& chance) {
  const uint32_t kind = chance.Below(100);
  if (kind < 40) {
    Write(*store_, model_, chance);
  } else if (kind < 55) {
    CheckGet(*store_, model_, chance.Key());
  } else if (kind < 58) {
    List(chance);
  } else if (kind < 60 || cursors_.empty()) {
    OpenCursor(chance);
  } else {
    Move(cursors_[chance.Below(static_cast<uint32_t>(cursors_.size()))], chance);
  }
}

void SingleCheck::Reopen(Chance& chance) {
  Close();
  for (const Cursor& cursor : cursors_) {
    Entry entry;
    Expect("GetEntry, closed", cursor.resultSet->GetEntry(entry), Status::STORE_NOT_OPEN);
    Expect("MoveToFirst, closed", cursor.resultSet->MoveToFirst(), false);
  }
  const bool beforeOpening = chance.OneIn(2);
  if (beforeOpening) cursors_.clear();
  Open();
  cursors_.clear();
  std::vector<Entry> entries;
  Expect("GetEntries", store_->GetEntries(Blob(), entries), Status::SUCCESS);
  Expect("GetEntries, reopened", ToRows(entries), model_.WithPrefix(""));
}

void SingleCheck::List(Chance& chance) const {
  const std::string prefix = chance.Prefix();
  std::vector<Entry> entries;
  Expect("GetEntries", store_->GetEntries(ToBlob(prefix), entries), Status::SUCCESS);
  Expect("GetEntries", ToRows(entries), model_.WithPrefix(prefix));
}

void SingleCheck::OpenCursor(Chance& chance) {
  if (cursors_.size() == kMaxCursors) {
    Cursor& oldest = cursors_[chance.Below(kMaxCursors)];
    Expect("CloseResultSet", store_->CloseResultSet(std::move(oldest.resultSet)), Status::SUCCESS);
    std::swap(oldest, cursors_.back());
    cursors_.pop_back();
  }
  const std::string prefix = chance.Prefix();
  Cursor cursor;
  store_->GetResultSet(ToBlob(prefix), [&](Status, std::unique_ptr<KvStoreResultSet> resultSet) {
    cursor.resultSet = std::move(resultSet);
  });
  Expect("GetResultSet", cursor.resultSet != nullptr, true);
  cursor.rows = model_.WithPrefix(prefix);
  CheckPosition(cursor);
  cursors_.push_back(std::move(cursor));
}

void SingleCheck::Move(Cursor& cursor, Chance& chance) {
  const bool arrived = MoveAtRandom(cursor, chance);
  const auto count = static_cast<int64_t>(cursor.rows.size());
  Expect("a move", arrived, cursor.position >= 0 && cursor.position < count);
  cursor.position = std::clamp<int64_t>(cursor.position, -1, count);
  CheckPosition(cursor);
}

// Leaves in `position` where the model stands, were there no ends.
bool SingleCheck::MoveAtRandom(Cursor& cursor, Chance& chance) {
  KvStoreResultSet& resultSet = *cursor.resultSet;
  const auto count = static_cast<int32_t>(cursor.rows.size());
  const int32_t farthest =
      chance.OneIn(2) ? std::numeric_limits<int32_t>::min() : std::numeric_limits<int32_t>::max();
  switch (chance.Below(8)) {
    case 0:
      cursor.position = 0;
      return resultSet.MoveToFirst();
    case 1:
      cursor.position = int64_t{count} - 1;
      return resultSet.MoveToLast();
    case 2:
    case 3:
      ++cursor.position;
      return resultSet.MoveToNext();
    case 4:
    case 5:
      --cursor.position;
      return resultSet.MoveToPrevious();
    case 6:
      cursor.position = chance.OneIn(30) ? farthest : chance.Between(-2, count + 1);
      return resultSet.MoveToPosition(static_cast<int32_t>(cursor.position));
    default:
      const int32_t offset = chance.OneIn(30) ? farthest : chance.Between(-40, 40);
      cursor.position += offset;
      return resultSet.Move(offset);
  }
}

void SingleCheck::CheckPosition(const Cursor& cursor) {
  const KvStoreResultSet& resultSet = *cursor.resultSet;
  const auto count = static_cast<int32_t>(cursor.rows.size());
  const auto position = static_cast<int32_t>(cursor.position);
  const bool there = position >= 0 && position < count;
  Expect("GetCount", resultSet.GetCount(), count);
  Expect("GetPosition", resultSet.GetPosition(), position);
  Expect("IsFirst", resultSet.IsFirst(), there && position == 0);
  Expect("IsLast", resultSet.IsLast(), there && position == count - 1);
  Expect("IsBeforeFirst", resultSet.IsBeforeFirst(), position < 0);
  Expect("IsAfterLast", resultSet.IsAfterLast(), position >= count);
  Entry entry;
  Expect("GetEntry", resultSet.GetEntry(entry), there ? Status::SUCCESS : Status::KEY_NOT_FOUND);
  if (there) Expect("GetEntry", ToRows({entry}), Rows{cursor.rows[static_cast<size_t>(position)]});
}

}  // namespace KORA::DistributedKv::Model
