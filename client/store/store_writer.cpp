#include "store/store_writer.h"

#include <memory>
#include <utility>

#include "schema/catalog.h"
#include "schema/indexing_batch.h"
#include "store/change.h"
#include "store/record.h"

namespace KORA::DistributedKv::Client {

Status StoreWriter::Write(const Fill& fill) {
  const bool observed = publisher_.HasListeners();
  if (observed || !catalog_.Indexes().empty()) {
    const std::unique_ptr<IndexedBatch> batch = engine_.NewIndexedBatch();
    if (const Status status = WriteTo(*batch, fill); status != Status::SUCCESS) return status;
    return observed ? CommitObserved(*batch) : clock_.Commit(*batch);
  }
  const std::unique_ptr<Batch> batch = engine_.NewBatch();
  fill(*batch, clock_.Next());
  return clock_.Commit(*batch);
}

Status StoreWriter::WriteTo(IndexedBatch& transaction, const Fill& fill) {
  if (catalog_.Indexes().empty()) {
    fill(transaction, clock_.Next());
    return Status::SUCCESS;
  }
  IndexingBatch indexing(transaction, catalog_.Indexes());
  fill(indexing, clock_.Next());
  return indexing.Result();
}

Status StoreWriter::Commit(IndexedBatch& transaction) {
  return publisher_.HasListeners() ? CommitObserved(transaction) : clock_.Commit(transaction);
}

Status StoreWriter::CommitObserved(IndexedBatch& batch) {
  Change change;
  Status status = DescribeChange(batch, engine_, change);
  if (status == Status::SUCCESS) status = clock_.Commit(batch);
  if (status == Status::SUCCESS && change.Entries() > 0) publisher_.Publish(std::move(change), snapshots_);
  return status;
}

Status StoreWriter::Clear(Publisher::Pieces pieces) {
  const Status status = engine_.DeleteAll({kRecordSpace, kIndexSpace});
  if (status == Status::SUCCESS && pieces) publisher_.Publish(std::move(pieces), snapshots_);
  return status;
}

}  // namespace KORA::DistributedKv::Client
