// One open store, shared by all of its handles.
#pragma once

#include <atomic>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "common/operation_gate.h"
#include "common/rate_limiter.h"
#include "common/spinning_mutex.h"
#include "contract/blob.h"
#include "contract/entry.h"
#include "contract/status.h"
#include "engine/engine.h"
#include "notify/publisher.h"
#include "store/deleted_records.h"
#include "store/readers.h"
#include "store/store_writer.h"
#include "sync/sync_settings.h"

namespace KORA::DistributedKv::Client {

enum class StoreKind { kSingle, kMulti };

// What is settled when a store is created.
struct StoreTraits {
  StoreKind kind = StoreKind::kSingle;
  int32_t securityLevel = 0;
  bool encrypted = false;
};

// Any thread may call the operations, inside a pass of the gate. One write lock gives versions, writes and
// notifications the same order. Reads take it only while a transaction is open.
class Store : public std::enable_shared_from_this<Store> {
 public:
  // `deviceId` is this device's, as notifications name it; `rateLimit` as the settings have it;
  // `milliseconds` is the system's clock.
  Store(std::string storeId, StoreTraits traits, std::unique_ptr<Engine> engine, std::string deviceId,
        uint64_t rateLimit = 0, HybridClock::Source milliseconds = SystemMilliseconds);
  Store(const Store&) = delete;
  Store& operator=(const Store&) = delete;
  ~Store();

  // Once, before all other operations.
  // `schema`: the text of the schema that the store is to have; empty: the one it has, if any. Errors: those
  // of Catalog::Load; RECOVER_FAILED also for another entry about the store that is damaged.
  Status Load(const std::string& schema = {});

  const std::string& Id() const { return id_; }
  const StoreTraits& Traits() const { return traits_; }
  OperationGate& Gate() { return gate_; }
  const Catalog& GetCatalog() const { return *catalog_; }
  // For an engine that works no more: turns all further operations away.
  void Fail() {
    failed_ = true;
    gate_.Close();
  }
  bool HasFailed() const { return failed_; }
  bool IsReadOnly() const { return engine_->ReadOnly(); }
  // Has the engine take itself for failed.
  void FailEngine();
  Publisher& Observers() { return *publisher_; }
  Readers& OpenReaders() { return readers_; }
  RateLimiter& Rate() { return rate_; }

  // The number that a device has in this store; nothing: no record ever came from it. SUCCESS or DB_ERROR.
  Status FindDevice(const std::string& deviceId, std::optional<uint32_t>& number) const;

  Status Get(const Key& key, Value& value) const;
  Status GetEntries(const Key& prefix, std::vector<Entry>& entries) const;
  // What Get sees now, and the indexes with it. Must end before Close: what keeps it is a reader.
  Status NewSnapshot(std::unique_ptr<View>& snapshot);
  // Shows `read` the same, as it stays for the length of the call. Unlike a snapshot this costs an
  // open transaction nothing.
  using ViewReader = std::function<Status(const std::shared_ptr<const View>& view)>;
  Status ReadAtOnce(const ViewReader& read);
  Status Put(const Key& key, const Value& value);
  Status PutBatch(const std::vector<Entry>& entries);
  Status Delete(const Key& key);
  Status DeleteBatch(const std::vector<Key>& keys);
  // Deletes all records. Observers are told in several changes where there is much to delete.
  Status Clear();
  // A write that fails in the midst breaks the open transaction, for half of a write must never be committed:
  // then all that reads or writes records, and Commit, answers DB_ERROR until Rollback.
  Status StartTransaction();
  Status Commit();
  Status Rollback();
  // Deletes the records that came from a device. In a transaction it is part of it, whole or not at all; else
  // writers get their turns in between, and observers are told in several changes where there is much to
  // delete.
  Status RemoveDeviceData(const std::string& deviceId);

  SyncSettings GetSyncSettings() const { return syncSettings_.Get(); }
  Status ChangeSyncSettings(const std::function<void(SyncSettings&)>& change) {
    return syncSettings_.Change(*engine_, change);
  }

  // Has the store take part in synchronisation, for good: from here on each commit leaves entries in the log
  // of local changes, and each deletion a tombstone, by whichever process the store is opened. What was
  // written before needs none. Again: nothing to do. READ_ONLY, DB_ERROR.
  Status Join();
  // For a synchronisation: `hook` is called after each local commit that was logged, on the thread that
  // commits and under the write lock. So it must be quick, must not call the store, and runs no more when
  // OnLogged({}) has returned.
  void OnLogged(std::function<void()> hook);
  bool HasJoined() const { return writer_.Log().Joined(); }

  // For the replica of a joined store.
  const std::string& DeviceId() const { return deviceId_; }
  Status NextVersion(Version& version);  // STORE_NOT_OPEN: it is closed; DB_ERROR
  Sync::LogPosition LogEnd() const { return writer_.Log().End(); }
  // What is committed, whatever an open transaction has written.
  const View& Committed() const { return *engine_; }
  // Has `write` write under the write lock, beneath an open transaction: what that has not written itself it
  // sees as it is then.
  Status WriteBeneath(const std::function<Status(StoreWriter& writer)>& write);
  // Has `fill` write what is no record, as a commit of its own.
  Status WriteAside(const std::function<Status(Batch& batch)>& fill);
  // The committed records that the filter lets through, to be told as deleted. Under the write lock.
  Publisher::Pieces PiecesOf(DeletedRecords::Filter filter);

  // Rolls an open transaction back, detaches the readers and closes the engine. No operation may be running
  // or follow.
  void Close();

 private:
  template <typename Read>
  Status WithView(Read read) const;
  Status Write(size_t bytes, const StoreWriter::Fill& fill);
  Status WriteToTransaction(size_t bytes, const StoreWriter::Fill& fill);
  Status DeleteInTransaction(const std::vector<Key>& keys);
  Status ListKeys(std::vector<Key>& keys) const;
  Status ListKeysOf(uint32_t device, std::vector<Key>& keys) const;
  Status RemoveSliceOf(uint32_t device, std::string& from);
  template <typename Read>
  Status WithIndexes(Read read);
  Status RefreshTransaction();
  SnapshotMaker MakeSnapshots();
  Status RefuseBroken() const;
  void EndTransaction();

  const std::string id_;
  const StoreTraits traits_;
  const std::string deviceId_;
  OperationGate gate_;
  std::atomic<bool> failed_{false};
  RateLimiter rate_;
  const std::shared_ptr<Publisher> publisher_;
  Readers readers_;
  std::unique_ptr<Engine> engine_;
  StoredSyncSettings syncSettings_;
  const std::unique_ptr<Catalog> catalog_;  // does not change after Load

  mutable SpinningMutex writing_;  // guards all below
  StoreWriter writer_;
  std::unique_ptr<IndexedBatch> transaction_;
  size_t transactionBytes_ = 0;
  bool broken_ = false;                     // the transaction has half of a write
  bool outdated_ = false;                   // its index entries may not replace those that are beneath it now
  std::atomic<bool> inTransaction_{false};  // may be read without the lock
};

}  // namespace KORA::DistributedKv::Client
