// What each change of a store's records goes through: versions, indexes, the commit, and what observers are
// told.
#pragma once

#include <functional>

#include "contract/status.h"
#include "engine/engine.h"
#include "notify/publisher.h"
#include "store/stored_clock.h"

namespace KORA::DistributedKv::Client {

class Catalog;

// All calls under the store's write lock.
class StoreWriter {
 public:
  // Writes records into the batch that it is given, with that version.
  using Fill = std::function<void(Batch& batch, Version version)>;
  // Makes what stays with a change until it is told; see Publisher.
  using Snapshots = std::function<SnapshotMaker()>;

  // Borrows all. Without `snapshots` observers are told of changes alone.
  StoreWriter(Engine& engine, const Catalog& catalog, Publisher& publisher, Snapshots snapshots)
      : engine_(engine), catalog_(catalog), publisher_(publisher), snapshots_(std::move(snapshots)) {}

  // Once, before all others. The answer of StoredClock::Load.
  Status Load() { return clock_.Load(engine_); }

  // As a commit of its own.
  Status Write(const Fill& fill);
  // As a part of a transaction. After a failure, thrown ones too, the transaction must not be committed.
  Status WriteTo(IndexedBatch& transaction, const Fill& fill);
  // A failure leaves the transaction as it was.
  Status Commit(IndexedBatch& transaction);

  // Deletes all records; observers are told of `pieces`.
  Status Clear(Publisher::Pieces pieces);

 private:
  Status CommitObserved(IndexedBatch& batch);

  Engine& engine_;
  const Catalog& catalog_;
  Publisher& publisher_;
  const Snapshots snapshots_;
  StoredClock clock_;
};

}  // namespace KORA::DistributedKv::Client
