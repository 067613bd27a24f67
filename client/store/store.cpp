#include "store/store.h"

#include <numeric>
#include <utility>

#include "common/limits.h"
#include "common/log.h"
#include "schema/indexing_batch.h"
#include "store/change.h"
#include "store/checks.h"
#include "store/device_records.h"
#include "store/record.h"
#include "store/record_reader.h"
#include "store/snapshot.h"

namespace KORA::DistributedKv::Client {

namespace {

// How far the bound of all versions runs ahead: it is written about once a second, not with each record.
constexpr Version kReservedAhead = Version{1000} << kVersionCounterBits;

size_t SizeOf(const Key& key) {
  return key.Size();
}
size_t SizeOf(const Entry& entry) {
  return entry.key.Size() + entry.value.Size();
}

template <typename Items>
size_t SizeOfAll(const Items& items) {
  return std::accumulate(items.begin(), items.end(), size_t{0},
                         [](size_t sum, const auto& item) { return sum + SizeOf(item); });
}

void PutRecord(Batch& batch, Version version, const Key& key, const Value& value) {
  const RecordHead head = EncodeRecordHead(version, kThisDevice);
  batch.Put(RecordKey(ToBytes(key)), {head.data(), head.size()}, ToBytes(value));
}

void DeleteRecord(Batch& batch, const Key& key) {
  batch.Delete(RecordKey(ToBytes(key)));
}

}  // namespace

Store::Store(std::string storeId, StoreTraits traits, std::unique_ptr<Engine> engine, std::string deviceId,
             uint64_t rateLimit)
    : id_(std::move(storeId)),
      traits_(traits),
      deviceId_(std::move(deviceId)),
      rate_(rateLimit),
      publisher_(std::make_shared<Publisher>(deviceId_, id_)),
      engine_(std::move(engine)) {}

Status Store::Load(const std::string& schema) {
  std::optional<Version> bound = 0;
  const Status status = engine_->Get(kClockKey, [&bound](Bytes stored) { bound = ParseVersion(stored); });
  if (status == Status::DB_ERROR) return status;
  if (!bound) return DamagedRecord(id_);
  clock_ = HybridClock(*bound);
  reserved_ = *bound;
  const Status loaded = syncSettings_.Load(*engine_);
  return loaded == Status::SUCCESS ? catalog_.Load(*engine_, schema) : loaded;
}

// Reads the engine, or the open transaction under the write lock.
template <typename Read>
Status Store::WithView(Read read) const {
  if (inTransaction_) {
    const std::lock_guard<std::mutex> lock(writing_);
    if (transaction_) return read(static_cast<const View&>(*transaction_));
  }
  return read(static_cast<const View&>(*engine_));
}

Status Store::Get(const Key& key, Value& value) const {
  return WithView([&](const View& view) { return RecordReader(view, id_).Get(key, value); });
}

Status Store::GetEntries(const Key& prefix, std::vector<Entry>& entries) const {
  return WithView([&](const View& view) { return RecordReader(view, id_).GetEntries(prefix, entries); });
}

std::unique_ptr<View> Store::NewSnapshot() const {
  std::unique_ptr<View> snapshot;
  WithView([&](const View& view) {
    snapshot = view.NewSnapshot();
    return Status::SUCCESS;
  });
  return snapshot;
}

Status Store::Put(const Key& key, const Value& value) {
  Status status = CheckEntry(key, value);
  if (status == Status::SUCCESS) status = catalog_.Check(value);
  if (status != Status::SUCCESS) return status;
  return Write(key.Size() + value.Size(),
               [&](Batch& batch, Version version) { PutRecord(batch, version, key, value); });
}

Status Store::PutBatch(const std::vector<Entry>& entries) {
  if (entries.empty()) return Status::SUCCESS;
  Status status = CheckEntries(entries);
  if (status == Status::SUCCESS) status = catalog_.Check(entries);
  if (status != Status::SUCCESS) return status;
  return Write(SizeOfAll(entries), [&](Batch& batch, Version version) {
    for (const Entry& entry : entries) PutRecord(batch, version, entry.key, entry.value);
  });
}

Status Store::Delete(const Key& key) {
  if (const Status status = CheckKey(key); status != Status::SUCCESS) return status;
  return Write(key.Size(), [&](Batch& batch, Version) { DeleteRecord(batch, key); });
}

Status Store::DeleteBatch(const std::vector<Key>& keys) {
  if (keys.empty()) return Status::SUCCESS;
  if (const Status status = CheckKeys(keys); status != Status::SUCCESS) return status;
  return Write(SizeOfAll(keys), [&](Batch& batch, Version) {
    for (const Key& key : keys) DeleteRecord(batch, key);
  });
}

Status Store::Clear() {
  const std::lock_guard<std::mutex> lock(writing_);
  if (!transaction_) return engine_->DeleteAll({kRecordSpace, kIndexSpace});
  std::vector<Key> keys;
  if (const Status status = ListKeys(keys); status != Status::SUCCESS) return status;
  return WriteToTransaction(SizeOfAll(keys), [&](Batch& batch, Version) {
    for (const Key& key : keys) DeleteRecord(batch, key);
  });
}

// The keys that the transaction sees, as far as it could delete them.
Status Store::ListKeys(std::vector<Key>& keys) const {
  size_t bytes = transactionBytes_;
  const std::unique_ptr<Cursor> cursor = transaction_->Entries(kRecordSpace);
  for (; cursor->Valid() && bytes <= kMaxBatchSize; cursor->Next()) {
    keys.push_back(ToBlob(KeyOfRecord(cursor->Key())));
    bytes += keys.back().Size();
  }
  return cursor->Result();
}

Status Store::FindDevice(const std::string& deviceId, std::optional<uint32_t>& number) const {
  if (deviceId != deviceId_) return DeviceRecords(*engine_, id_).FindNumber(deviceId, number);
  number = kThisDevice;
  return Status::SUCCESS;
}

Status Store::RemoveDeviceData(const std::string& deviceId) {
  std::optional<uint32_t> device;
  Status status = FindDevice(deviceId, device);
  std::string from(device ? kRecordSpace : Bytes());
  while (status == Status::SUCCESS && !from.empty()) status = RemoveSliceOf(*device, from);
  return status;
}

Status Store::RemoveSliceOf(uint32_t device, std::string& from) {
  if (!inTransaction_) publisher_->AwaitRoom();
  const std::lock_guard<std::mutex> lock(writing_);
  const View& now = transaction_ ? static_cast<const View&>(*transaction_) : *engine_;
  std::vector<Key> keys;
  const Status status = DeviceRecords(now, id_).TakeKeys(device, from, keys);
  if (status != Status::SUCCESS || keys.empty()) return status;
  const auto fill = [&keys](Batch& batch, Version) {
    for (const Key& key : keys) DeleteRecord(batch, key);
  };
  return transaction_ ? WriteToTransaction(SizeOfAll(keys), fill) : WriteNow(fill);
}

// Whatever is written goes through here, except the records that Clear removes at once.
template <typename Fill>
Status Store::Write(size_t bytes, Fill fill) {
  if (const Status status = CheckBatch(bytes); status != Status::SUCCESS) return status;
  if (!inTransaction_) publisher_->AwaitRoom();
  const std::lock_guard<std::mutex> lock(writing_);
  return transaction_ ? WriteToTransaction(bytes, fill) : WriteNow(fill);
}

template <typename Fill>
Status Store::WriteNow(Fill fill) {
  const bool observed = publisher_->HasListeners();
  if (observed || !catalog_.Indexes().empty()) {
    const std::unique_ptr<IndexedBatch> batch = engine_->NewIndexedBatch();
    if (const Status status = FillIndexed(*batch, fill); status != Status::SUCCESS) return status;
    return observed ? CommitObserved(*batch) : CommitWithClock(*batch);
  }
  const std::unique_ptr<Batch> batch = engine_->NewBatch();
  fill(*batch, clock_.Next());
  return CommitWithClock(*batch);
}

// Has the indexes follow what is written.
template <typename Fill>
Status Store::FillIndexed(IndexedBatch& batch, Fill fill) {
  if (catalog_.Indexes().empty()) {
    fill(batch, clock_.Next());
    return Status::SUCCESS;
  }
  IndexingBatch indexing(batch, catalog_.Indexes());
  fill(indexing, clock_.Next());
  return indexing.Result();
}

template <typename Fill>
Status Store::WriteToTransaction(size_t bytes, Fill fill) {
  Status status = CheckBatch(transactionBytes_ + bytes);
  if (status != Status::SUCCESS) return status;
  try {
    status = FillIndexed(*transaction_, fill);
  } catch (...) {
    // Half of an operation must never be committed.
    EndTransaction();
    throw;
  }
  if (status == Status::SUCCESS) {
    transactionBytes_ += bytes;
  } else {
    EndTransaction();
  }
  return status;
}

Status Store::CommitObserved(IndexedBatch& batch) {
  Change change;
  Status status = DescribeChange(batch, *engine_, change);
  if (status == Status::SUCCESS) status = CommitWithClock(batch);
  if (status == Status::SUCCESS && change.Entries() > 0) Publish(std::move(change));
  return status;
}

// Under the write lock, so that the snapshot is that of the commit.
void Store::Publish(Change&& change) {
  if (traits_.kind == StoreKind::kSingle) {
    publisher_->Publish(std::move(change), nullptr);
    return;
  }
  publisher_->Publish(std::move(change), [this]() -> SnapshotMaker {
    const auto view =
        std::make_shared<const Snapshot::ViewReader>(shared_from_this(), engine_->NewSnapshot());
    return [view, id = id_] { return std::make_unique<Snapshot>(view, id); };
  });
}

// Keeps the bound of all versions ahead of those that the batch brings.
Status Store::CommitWithClock(Batch& batch) {
  Version reserved = reserved_;
  if (clock_.Last() > reserved) {
    reserved = clock_.Last() + kReservedAhead;
    const VersionBytes bound = EncodeVersion(reserved);
    batch.Put(kClockKey, {bound.data(), bound.size()}, {});
  }
  const Status status = batch.Commit();
  if (status == Status::SUCCESS) reserved_ = reserved;
  return status;
}

Status Store::StartTransaction() {
  const std::lock_guard<std::mutex> lock(writing_);
  if (transaction_) {
    __android_log_print(KORA_LOG_WARN, kLogTag, "store %s: a transaction is open already", id_.c_str());
    return Status::ERROR;
  }
  if (engine_->ReadOnly()) return Status::READ_ONLY;
  transaction_ = engine_->NewIndexedBatch();
  inTransaction_ = true;
  return Status::SUCCESS;
}

Status Store::Commit() {
  publisher_->AwaitRoom();
  const std::lock_guard<std::mutex> lock(writing_);
  if (!transaction_) {
    __android_log_print(KORA_LOG_WARN, kLogTag, "store %s: no transaction to commit", id_.c_str());
    return Status::ERROR;
  }
  const Status status =
      publisher_->HasListeners() ? CommitObserved(*transaction_) : CommitWithClock(*transaction_);
  if (status == Status::SUCCESS) EndTransaction();
  return status;
}

Status Store::Rollback() {
  const std::lock_guard<std::mutex> lock(writing_);
  if (!transaction_) {
    __android_log_print(KORA_LOG_WARN, kLogTag, "store %s: no transaction to roll back", id_.c_str());
    return Status::ERROR;
  }
  EndTransaction();
  return Status::SUCCESS;
}

void Store::EndTransaction() {
  transaction_.reset();
  transactionBytes_ = 0;
  inTransaction_ = false;
}

void Store::FailEngine() {
  const std::lock_guard<std::mutex> lock(writing_);
  if (engine_) engine_->Fail();
}

void Store::Close() {
  const std::lock_guard<std::mutex> lock(writing_);
  if (!engine_) return;
  EndTransaction();
  readers_.DetachAll();
  engine_->Sync();
  engine_.reset();
}

}  // namespace KORA::DistributedKv::Client
