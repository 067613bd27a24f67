#include "store/store.h"

#include <numeric>
#include <utility>

#include "common/limits.h"
#include "common/log.h"
#include "schema/catalog.h"
#include "store/checks.h"
#include "store/deleted_records.h"
#include "store/device_numbers.h"
#include "store/device_records.h"
#include "store/record.h"
#include "store/record_reader.h"
#include "store/snapshot.h"
#include "store/store_reader.h"

namespace KORA::DistributedKv::Client {

namespace {

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

void DeleteRecords(Batch& batch, const std::vector<Key>& keys) {
  for (const Key& key : keys) batch.Delete(RecordKey(ToBytes(key)));
}

}  // namespace

Store::Store(std::string storeId, StoreTraits traits, std::unique_ptr<Engine> engine, std::string deviceId,
             uint64_t rateLimit, HybridClock::Source milliseconds)
    : id_(std::move(storeId)),
      traits_(traits),
      deviceId_(std::move(deviceId)),
      rate_(rateLimit),
      publisher_(std::make_shared<Publisher>(deviceId_, id_)),
      engine_(std::move(engine)),
      catalog_(std::make_unique<Catalog>()),
      writer_({*engine_, *catalog_, *publisher_}, std::move(milliseconds),
              traits.kind == StoreKind::kMulti ? StoreWriter::Snapshots([this] { return MakeSnapshots(); })
                                               : nullptr) {
  // Those of multi-version stores outlive a death: the bridge does not forget them.
  if (traits_.kind == StoreKind::kSingle) DeathNotice::Instance().Watch(publisher_);
}

Store::~Store() = default;

Status Store::Load(const std::string& schema) {
  Status status = writer_.Load();
  if (status == Status::SUCCESS) status = syncSettings_.Load(*engine_);
  return status == Status::SUCCESS ? catalog_->Load(*engine_, schema) : status;
}

// Reads the engine, or the open transaction under the write lock.
template <typename Read>
Status Store::WithView(Read read) const {
  if (inTransaction_) {
    const std::lock_guard<SpinningMutex> lock(writing_);
    if (broken_) return RefuseBroken();
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

// As WithView, for those who may go by indexes.
template <typename Read>
Status Store::WithIndexes(Read read) {
  if (inTransaction_) {
    const std::lock_guard<SpinningMutex> lock(writing_);
    const Status status = transaction_ ? RefreshTransaction() : Status::SUCCESS;
    if (status != Status::SUCCESS) return status;
    if (transaction_) return read(static_cast<const View&>(*transaction_));
  }
  return read(static_cast<const View&>(*engine_));
}

Status Store::NewSnapshot(std::unique_ptr<View>& snapshot) {
  return WithIndexes([&](const View& view) {
    snapshot = view.NewSnapshot();
    return Status::SUCCESS;
  });
}

Status Store::ReadAtOnce(const ViewReader& read) {
  return WithIndexes([&](const View& view) {
    // Writes to the engine go on; a transaction stays as it is under the lock.
    const bool changes = &view == engine_.get();
    return read(changes ? view.NewSnapshot() : std::shared_ptr<const View>(std::shared_ptr<void>(), &view));
  });
}

Status Store::Put(const Key& key, const Value& value) {
  Status status = CheckEntry(key, value);
  if (status == Status::SUCCESS) status = catalog_->Check(value);
  if (status != Status::SUCCESS) return status;
  return Write(key.Size() + value.Size(),
               [&](Batch& batch, Version version) { PutRecord(batch, version, key, value); });
}

Status Store::PutBatch(const std::vector<Entry>& entries) {
  if (entries.empty()) return engine_->ReadOnly() ? Status::READ_ONLY : Status::SUCCESS;
  Status status = CheckEntries(entries);
  if (status == Status::SUCCESS) status = catalog_->Check(entries);
  if (status != Status::SUCCESS) return status;
  return Write(SizeOfAll(entries), [&](Batch& batch, Version version) {
    for (const Entry& entry : entries) PutRecord(batch, version, entry.key, entry.value);
  });
}

Status Store::Delete(const Key& key) {
  if (const Status status = CheckKey(key); status != Status::SUCCESS) return status;
  return Write(key.Size(), [&](Batch& batch, Version) { batch.Delete(RecordKey(ToBytes(key))); });
}

Status Store::DeleteBatch(const std::vector<Key>& keys) {
  if (keys.empty()) return engine_->ReadOnly() ? Status::READ_ONLY : Status::SUCCESS;
  if (const Status status = CheckKeys(keys); status != Status::SUCCESS) return status;
  return Write(SizeOfAll(keys), [&](Batch& batch, Version) { DeleteRecords(batch, keys); });
}

Status Store::Clear() {
  if (!inTransaction_) publisher_->AwaitRoom(Origin::kLocal);
  const std::lock_guard<SpinningMutex> lock(writing_);
  if (!transaction_)
    return writer_.Clear(publisher_->HasListeners(Origin::kLocal) ? PiecesOf(nullptr) : nullptr);
  std::vector<Key> keys;
  const Status status = ListKeys(keys);
  return status == Status::SUCCESS ? DeleteInTransaction(keys) : status;
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

Publisher::Pieces Store::PiecesOf(DeletedRecords::Filter filter) {
  auto records = std::make_unique<DeletedRecords>(id_, engine_->NewSnapshot(), std::move(filter));
  const auto reader = std::make_shared<StoreReader<DeletedRecords>>(shared_from_this(), std::move(records));
  return [reader](Change& piece) {
    bool more = false;
    reader->Call([&](DeletedRecords& deleted) {
      more = deleted.Take(piece);
      return Status::SUCCESS;
    });
    return more;
  };
}

Status Store::FindDevice(const std::string& deviceId, std::optional<uint32_t>& number) const {
  DeviceNumbers devices;
  const Status status = devices.Load(*engine_, deviceId_);
  if (status == Status::SUCCESS) number = devices.Find(deviceId);
  return status;
}

Status Store::RemoveDeviceData(const std::string& deviceId) {
  std::optional<uint32_t> device;
  Status status = FindDevice(deviceId, device);
  std::string from(device ? kRecordSpace : Bytes());
  while (status == Status::SUCCESS && !from.empty()) status = RemoveSliceOf(*device, from);
  return status;
}

// In a transaction the slice is all there is.
Status Store::RemoveSliceOf(uint32_t device, std::string& from) {
  if (!inTransaction_) publisher_->AwaitRoom(Origin::kLocal);
  const std::lock_guard<SpinningMutex> lock(writing_);
  std::vector<Key> keys;
  Status status = Status::SUCCESS;
  if (transaction_) {
    from.clear();
    status = ListKeysOf(device, keys);
    return status == Status::SUCCESS ? DeleteInTransaction(keys) : status;
  }
  status = DeviceRecords(*engine_, id_).TakeKeys(device, from, keys);
  if (status != Status::SUCCESS || keys.empty()) return status;
  return writer_.Write([&keys](Batch& batch, Version) { DeleteRecords(batch, keys); });
}

// As far as the transaction could delete them.
Status Store::ListKeysOf(uint32_t device, std::vector<Key>& keys) const {
  Status status = Status::SUCCESS;
  std::string from(kRecordSpace);
  while (status == Status::SUCCESS && !from.empty() && SizeOfAll(keys) <= kMaxBatchSize) {
    status = DeviceRecords(*transaction_, id_).TakeKeys(device, from, keys);
  }
  return status;
}

// Whatever is written goes through here, except what Clear and RemoveDeviceData delete.
Status Store::Write(size_t bytes, const StoreWriter::Fill& fill) {
  if (const Status status = CheckBatch(bytes); status != Status::SUCCESS) return status;
  if (!inTransaction_) publisher_->AwaitRoom(Origin::kLocal);
  const std::lock_guard<SpinningMutex> lock(writing_);
  return transaction_ ? WriteToTransaction(bytes, fill) : writer_.Write(fill);
}

Status Store::DeleteInTransaction(const std::vector<Key>& keys) {
  return WriteToTransaction(SizeOfAll(keys), [&keys](Batch& batch, Version) { DeleteRecords(batch, keys); });
}

Status Store::WriteToTransaction(size_t bytes, const StoreWriter::Fill& fill) {
  if (broken_) return RefuseBroken();
  if (const Status status = CheckBatch(transactionBytes_ + bytes); status != Status::SUCCESS) return status;
  broken_ = true;
  const Status status = writer_.WriteTo(*transaction_, fill);
  if (status != Status::SUCCESS) return status;
  broken_ = false;
  transactionBytes_ += bytes;
  return status;
}

Status Store::RefuseBroken() const {
  __android_log_print(KORA_LOG_WARN, kLogTag,
                      "store %s: a write has failed halfway in the open transaction; roll it back",
                      id_.c_str());
  return Status::DB_ERROR;
}

// Under the write lock, so that the snapshot is that of the commit.
SnapshotMaker Store::MakeSnapshots() {
  const auto view = std::make_shared<const Snapshot::ViewReader>(shared_from_this(), engine_->NewSnapshot());
  return [view, id = id_] { return std::make_unique<Snapshot>(view, id); };
}

Status Store::StartTransaction() {
  const std::lock_guard<SpinningMutex> lock(writing_);
  if (broken_) return RefuseBroken();
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
  publisher_->AwaitRoom(Origin::kLocal);
  const std::lock_guard<SpinningMutex> lock(writing_);
  if (!transaction_) {
    __android_log_print(KORA_LOG_WARN, kLogTag, "store %s: no transaction to commit", id_.c_str());
    return Status::ERROR;
  }
  const Status status = broken_ ? RefuseBroken() : writer_.Commit(*transaction_);
  if (status == Status::SUCCESS) EndTransaction();
  return status;
}

Status Store::Rollback() {
  const std::lock_guard<SpinningMutex> lock(writing_);
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
  broken_ = false;
  outdated_ = false;
  inTransaction_ = false;
}

Status Store::Join() {
  const std::lock_guard<SpinningMutex> lock(writing_);
  return writer_.Join();
}

void Store::OnLogged(std::function<void()> hook) {
  const std::lock_guard<SpinningMutex> lock(writing_);
  writer_.OnLogged(std::move(hook));
}

Status Store::NextVersion(Version& version) {
  const std::lock_guard<SpinningMutex> lock(writing_);
  return engine_ ? writer_.NextVersion(version) : Status::STORE_NOT_OPEN;
}

Status Store::WriteBeneath(const std::function<Status(StoreWriter& writer)>& write) {
  const std::lock_guard<SpinningMutex> lock(writing_);
  outdated_ = transaction_ && !catalog_->Indexes().empty();
  return write(writer_);
}

// The transaction's index entries replace those of the records beneath. A failure leaves it as it was.
Status Store::RefreshTransaction() {
  if (broken_) return RefuseBroken();
  if (!outdated_) return Status::SUCCESS;
  std::unique_ptr<IndexedBatch> repeated = engine_->NewIndexedBatch();
  const Status status = writer_.Repeat(*transaction_, *repeated);
  if (status != Status::SUCCESS) return status;
  transaction_ = std::move(repeated);
  outdated_ = false;
  return status;
}

Status Store::WriteAside(const std::function<Status(Batch& batch)>& fill) {
  const std::lock_guard<SpinningMutex> lock(writing_);
  return writer_.WriteAside(fill);
}

void Store::FailEngine() {
  const std::lock_guard<SpinningMutex> lock(writing_);
  if (engine_) engine_->Fail();
}

void Store::Close() {
  const std::lock_guard<SpinningMutex> lock(writing_);
  if (!engine_) return;
  EndTransaction();
  readers_.DetachAll();
  engine_->Sync();
  engine_.reset();
}

}  // namespace KORA::DistributedKv::Client
