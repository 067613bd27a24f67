#include "store/change_log.h"

#include <algorithm>
#include <memory>

#include "common/big_endian.h"
#include "store/stored_entry.h"

namespace KORA::DistributedKv::Client {

namespace {

constexpr uint8_t kFormat = 1;

Status Damaged() {
  return EntryIsDamaged("the log of local changes");
}

}  // namespace

std::string LogKey(Sync::LogPosition position) {
  std::string key(kLogSpace);
  AppendBigEndian(position, key);
  return key;
}

std::optional<Sync::LogPosition> PositionOf(Bytes logKey) {
  Bytes rest = logKey.substr(kLogSpace.size());
  Sync::LogPosition position = 0;
  return TakeBigEndian(rest, position) && rest.empty() ? std::optional(position) : std::nullopt;
}

std::optional<LoggedChange> ParseLoggedChange(Bytes stored) {
  LoggedChange change;
  uint8_t format = 0;
  uint8_t ends = 0;
  const bool whole = TakeBigEndian(stored, format) && format == kFormat && TakeBigEndian(stored, ends) &&
                     TakeBigEndian(stored, change.version) && TakeBigEndian(stored, change.device) &&
                     !stored.empty();
  if (!whole || ends > 1) return std::nullopt;
  change.endsCommit = ends == 1;
  change.key = stored;
  return change;
}

void LogAppender::Add(const LoggedChange& change) {
  std::string head;
  AppendBigEndian(kFormat, head);
  AppendBigEndian(static_cast<uint8_t>(change.endsCommit ? 1 : 0), head);
  AppendBigEndian(change.version, head);
  AppendBigEndian(change.device, head);
  batch_.Put(LogKey(++end_), head, change.key);
}

void LoggingBatch::Put(Bytes key, Bytes head, Bytes body) {
  parts_.records.Put(key, head, body);
  const std::string tombstone = TombstoneKey(KeyOfRecord(key));
  const Status status = parts_.before.Get(tombstone, [&](Bytes) { parts_.rest.Delete(tombstone); });
  if (status == Status::DB_ERROR) result_ = status;
  Log(key);
}

void LoggingBatch::Delete(Bytes key) {
  parts_.records.Delete(key);
  const RecordHead head = EncodeRecordHead(version_, kThisDevice);
  parts_.rest.Put(TombstoneKey(KeyOfRecord(key)), {head.data(), head.size()}, {});
  Log(key);
}

void LoggingBatch::Log(Bytes engineKey) {
  AddLast(false);
  last_ = KeyOfRecord(engineKey);
}

void LoggingBatch::AddLast(bool endsCommit) {
  if (!last_.empty()) parts_.log.Add({version_, kThisDevice, endsCommit, last_});
}

Status LoggingBatch::Finish() {
  AddLast(true);
  return result_;
}

Status ReadCut(const View& engine, Sync::LogPosition& cut) {
  bool whole = true;
  const Status status =
      engine.Get(kCutKey, [&](Bytes stored) { whole = TakeBigEndian(stored, cut) && stored.empty(); });
  if (!whole) return Damaged();
  return status == Status::KEY_NOT_FOUND ? Status::SUCCESS : status;
}

Status ChangeLog::Load(const View& engine) {
  const Status joined = engine.Get(kJoinedKey, [this](Bytes) { joined_ = true; });
  if (joined == Status::KEY_NOT_FOUND) return Status::SUCCESS;
  Sync::LogPosition end = 0;
  Status status = joined == Status::SUCCESS ? ReadCut(engine, end) : joined;
  if (status != Status::SUCCESS) return status;
  const std::unique_ptr<Cursor> entries = engine.Entries(kLogSpace);
  entries->SeekToLast();
  if (entries->Valid()) {
    const std::optional<Sync::LogPosition> last = PositionOf(entries->Key());
    if (!last) return Damaged();
    end = std::max(end, *last);
  }
  end_ = end;
  return entries->Result();
}

Status ChangeLog::Join(Engine& engine) {
  if (joined_) return Status::SUCCESS;
  if (engine.ReadOnly()) return Status::READ_ONLY;
  constexpr char kMark = 1;
  const std::unique_ptr<Batch> batch = engine.NewBatch();
  batch->Put(kJoinedKey, {&kMark, 1}, {});
  const Status status = batch->Commit();
  if (status == Status::SUCCESS) joined_ = true;
  return status;
}

}  // namespace KORA::DistributedKv::Client
