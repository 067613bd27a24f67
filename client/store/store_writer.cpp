#include "store/store_writer.h"

#include <memory>
#include <utility>

#include "schema/catalog.h"
#include "schema/indexing_batch.h"
#include "store/change.h"
#include "store/device_numbers.h"
#include "store/record.h"

namespace KORA::DistributedKv::Client {

namespace {

// The records that a transaction has written, as of a later version.
void CopyRecords(const IndexedBatch& transaction, Batch& batch, Version version) {
  const RecordHead head = EncodeRecordHead(version, kThisDevice);
  transaction.Changes(kRecordSpace, [&](Bytes engineKey, const std::optional<Bytes>& written) {
    if (written) {
      batch.Put(engineKey, {head.data(), head.size()}, written->substr(kRecordHeadSize));
    } else {
      batch.Delete(engineKey);
    }
  });
}

}  // namespace

Status StoreWriter::Load() {
  const Status status = clock_.Load(engine_);
  return status == Status::SUCCESS ? log_.Load(engine_) : status;
}

Status StoreWriter::Write(const Fill& fill) {
  const bool observed = publisher_.HasListeners(Origin::kLocal);
  if (!observed && catalog_.Indexes().empty()) {
    const std::unique_ptr<Batch> batch = engine_.NewBatch();
    LogAppender log(*batch, log_.End());
    const Status status = Logging({*batch, *batch, engine_, log}, fill);
    return status == Status::SUCCESS ? CommitLocal(*batch, log) : status;
  }
  const std::unique_ptr<IndexedBatch> batch = engine_.NewIndexedBatch();
  LogAppender log(*batch, log_.End());
  const Status status = Indexing(*batch, [&](Batch& records) {
    return Logging({records, *batch, engine_, log}, fill);
  });
  if (status != Status::SUCCESS) return status;
  return observed ? CommitObserved(*batch, log) : CommitLocal(*batch, log);
}

Status StoreWriter::WriteTo(IndexedBatch& transaction, const Fill& fill) {
  return Indexing(transaction, [&](Batch& records) {
    fill(records, clock_.Next());
    return Status::SUCCESS;
  });
}

// Has the indexes follow the records that `write` writes.
template <typename WriteRecords>
Status StoreWriter::Indexing(IndexedBatch& batch, WriteRecords write) const {
  if (catalog_.Indexes().empty()) return write(batch);
  IndexingBatch indexing(batch, catalog_.Indexes());
  const Status status = write(indexing);
  return status == Status::SUCCESS ? indexing.Result() : status;
}

// Has log and tombstones follow the records that `fill` writes, if the store has joined.
Status StoreWriter::Logging(const LoggingBatch::Parts& parts, const Fill& fill) {
  const Version version = clock_.Next();
  if (!log_.Joined()) {
    fill(parts.records, version);
    return Status::SUCCESS;
  }
  LoggingBatch logging(parts, version);
  fill(logging, version);
  return logging.Finish();
}

// Of a joined store it is written anew: the log follows the order of commits, and what was merged since the
// writes has older versions, and may have changed the index entries that are to be replaced.
Status StoreWriter::Commit(IndexedBatch& transaction) {
  if (log_.Joined()) {
    return Write([&](Batch& batch, Version version) { CopyRecords(transaction, batch, version); });
  }
  const LogAppender log(transaction, log_.End());
  return publisher_.HasListeners(Origin::kLocal) ? CommitObserved(transaction, log)
                                                 : CommitLocal(transaction, log);
}

Status StoreWriter::Repeat(const IndexedBatch& transaction, IndexedBatch& other) {
  return WriteTo(other, [&](Batch& batch, Version version) { CopyRecords(transaction, batch, version); });
}

Status StoreWriter::CommitLocal(Batch& batch, const LogAppender& log) {
  const Status status = clock_.Commit(batch);
  if (status != Status::SUCCESS || log.End() == log_.End()) return status;
  log_.Grow(log.End());
  log_.TellLogged();
  return status;
}

Status StoreWriter::CommitObserved(IndexedBatch& batch, const LogAppender& log) {
  Change change;
  Status status = DescribeChange(batch, engine_, change);
  if (status == Status::SUCCESS) status = CommitLocal(batch, log);
  if (status == Status::SUCCESS && change.Entries() > 0) publisher_.Publish(std::move(change), snapshots_);
  return status;
}

Status StoreWriter::Clear(Publisher::Pieces pieces) {
  const Status status = log_.Joined() ? ClearLogged() : engine_.DeleteAll({kRecordSpace, kIndexSpace});
  if (status == Status::SUCCESS && pieces) publisher_.Publish(std::move(pieces), snapshots_);
  return status;
}

// Takes memory for the keys, not for the values.
Status StoreWriter::ClearLogged() {
  const std::unique_ptr<Batch> batch = engine_.NewBatch();
  LogAppender log(*batch, log_.End());
  LoggingBatch logging({*batch, *batch, engine_, log}, clock_.Next());
  const std::unique_ptr<Cursor> records = engine_.Entries(kRecordSpace);
  for (; records->Valid(); records->Next()) logging.Delete(records->Key());
  const std::unique_ptr<Cursor> indexes = engine_.Entries(kIndexSpace);
  for (; indexes->Valid(); indexes->Next()) batch->Delete(indexes->Key());
  Status status = records->Result();
  if (status == Status::SUCCESS) status = indexes->Result();
  if (status == Status::SUCCESS) status = logging.Finish();
  return status == Status::SUCCESS ? CommitLocal(*batch, log) : status;
}

Status StoreWriter::Merge(const FillForeign& fill, const DeviceNumbers& devices) {
  const std::unique_ptr<IndexedBatch> batch = engine_.NewIndexedBatch();
  LogAppender log(*batch, log_.End());
  ChangesByDevice changes;
  Status status = Indexing(*batch, [&](Batch& records) { return fill({records, *batch, log}); });
  if (status == Status::SUCCESS && publisher_.HasListeners(Origin::kRemote))
    status = DescribeChanges(*batch, engine_, changes);
  if (status == Status::SUCCESS) status = clock_.Commit(*batch);
  if (status != Status::SUCCESS) return status;
  log_.Grow(log.End());
  for (auto& [number, change] : changes) {
    const std::string* const maker = number ? devices.Find(*number) : nullptr;
    change.maker = maker ? *maker : std::string();
    publisher_.Publish(std::move(change), snapshots_);
  }
  return status;
}

Status StoreWriter::Forget(const FillForeign& fill, Publisher::Pieces pieces) {
  const std::unique_ptr<IndexedBatch> batch = engine_.NewIndexedBatch();
  LogAppender log(*batch, log_.End());
  Status status = Indexing(*batch, [&](Batch& records) { return fill({records, *batch, log}); });
  if (status == Status::SUCCESS) status = clock_.Commit(*batch);
  if (status == Status::SUCCESS && pieces) publisher_.Publish(std::move(pieces), snapshots_);
  return status;
}

Status StoreWriter::NextVersion(Version& version) {
  version = clock_.Next();
  if (clock_.IsKept()) return Status::SUCCESS;
  Status status = Status::SUCCESS;
  if (clock_.IsBeyondBound()) status = WriteAside([](Batch&) { return Status::SUCCESS; });
  if (status == Status::SUCCESS) status = engine_.Sync();
  if (status == Status::SUCCESS) clock_.OnSynced();
  return status;
}

Status StoreWriter::WriteAside(const std::function<Status(Batch& batch)>& fill) {
  const std::unique_ptr<Batch> batch = engine_.NewBatch();
  const Status status = fill(*batch);
  return status == Status::SUCCESS ? clock_.Commit(*batch) : status;
}

}  // namespace KORA::DistributedKv::Client
