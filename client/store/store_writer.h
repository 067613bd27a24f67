// What each change of a store's records goes through: versions, indexes, log, the commit, and what observers
// are told.
#pragma once

#include <functional>

#include "contract/status.h"
#include "engine/engine.h"
#include "notify/publisher.h"
#include "store/change_log.h"
#include "store/stored_clock.h"

namespace KORA::DistributedKv::Client {

class Catalog;
class DeviceNumbers;

// All calls under the store's write lock, but for what Log tells any thread.
class StoreWriter {
 public:
  // Writes records into the batch that it is given, with that version.
  using Fill = std::function<void(Batch& batch, Version version)>;
  // Makes what stays with a change until it is told; see Publisher.
  using Snapshots = std::function<SnapshotMaker()>;
  // What a commit of the synchronisation is written with.
  struct Foreign {
    Batch& records;
    Batch& rest;  // takes what is no record
    LogAppender& log;
  };
  using FillForeign = std::function<Status(const Foreign& commit)>;

  // What it borrows.
  struct Parts {
    Engine& engine;
    const Catalog& catalog;
    Publisher& publisher;
  };
  // Without `snapshots` observers are told of changes alone.
  StoreWriter(const Parts& parts, HybridClock::Source milliseconds, Snapshots snapshots)
      : engine_(parts.engine),
        catalog_(parts.catalog),
        publisher_(parts.publisher),
        snapshots_(std::move(snapshots)),
        clock_(std::move(milliseconds)) {}

  // Once, before all others. SUCCESS; RECOVER_FAILED: what the store keeps about itself is damaged; DB_ERROR.
  Status Load();

  // As a commit of its own.
  Status Write(const Fill& fill);
  // As a part of a transaction. After a failure, thrown ones too, the transaction must not be committed.
  Status WriteTo(IndexedBatch& transaction, const Fill& fill);
  // A failure leaves the transaction as it was.
  Status Commit(IndexedBatch& transaction);
  // Writes what a transaction has written into another, which sees what was committed since.
  Status Repeat(const IndexedBatch& transaction, IndexedBatch& other);
  // Deletes all records; observers are told of `pieces`.
  Status Clear(Publisher::Pieces pieces);

  // What other devices have written, with their versions, as one commit. Nothing is logged but what `fill`
  // logs. Observers are told of a change for each device.
  Status Merge(const FillForeign& fill, const DeviceNumbers& devices);
  // Removes records without a trace; observers are told of `pieces`.
  Status Forget(const FillForeign& fill, Publisher::Pieces pieces);
  // Writes what is no record.
  Status WriteAside(const std::function<Status(Batch& batch)>& fill);

  // One that is never given again, whatever is lost: unlike that of a write it is kept on the disk at once,
  // or rather a bound about once a second. DB_ERROR: it could not be kept, and must not be used.
  Status NextVersion(Version& version);
  // All versions from here on are greater than this.
  void Advance(Version seen) { clock_.Advance(seen); }
  Status Join() { return log_.Join(engine_); }
  void OnLogged(std::function<void()> hook) { log_.OnLogged(std::move(hook)); }
  const ChangeLog& Log() const { return log_; }

 private:
  template <typename WriteRecords>
  Status Indexing(IndexedBatch& batch, WriteRecords write) const;
  Status Logging(const LoggingBatch::Parts& parts, const Fill& fill);
  Status CommitLocal(Batch& batch, const LogAppender& log);
  Status CommitObserved(IndexedBatch& batch, const LogAppender& log);
  Status ClearLogged();

  Engine& engine_;
  const Catalog& catalog_;
  Publisher& publisher_;
  const Snapshots snapshots_;
  StoredClock clock_;
  ChangeLog log_;
};

}  // namespace KORA::DistributedKv::Client
