#include "support/client.h"

#include <algorithm>
#include <stdexcept>
#include <utility>

#include "support/java.h"
#include "support/trace.h"

namespace fake {
namespace {

using kv::Blob;
using kv::Entry;
using kv::Key;
using kv::Status;
using kv::Value;

std::string Text(const std::string& text) {
  std::string quoted = "\"";
  for (const char c : text) quoted += c == '\0' ? std::string("\\0") : std::string(1, c);
  return quoted + "\"";
}
std::string Text(const kv::AppId& id) {
  return Text(id.appId);
}
std::string Text(const kv::StoreId& id) {
  return Text(id.storeId);
}
std::string Text(const Blob& blob) {
  return Describe(blob);
}
std::string Text(const std::vector<Entry>& entries) {
  return Describe(entries);
}
std::string Text(int32_t number) {
  return std::to_string(number);
}

template <typename T>
std::string Text(const std::vector<T>& items) {
  std::string text = "{";
  for (const T& item : items) text += (text.size() > 1 ? "," : "") + Text(item);
  return text + "}";
}

template <typename T, typename = std::enable_if_t<std::is_enum_v<T>>>
std::string Text(T code) {
  return std::to_string(static_cast<int32_t>(code));
}

std::string Text(const kv::Options& options) {
  return "create=" + Text(options.createIfMissing) + " encrypt=" + Text(options.encrypt) +
         " persistent=" + Text(options.persistent) + " backup=" + Text(options.backup) +
         " autoSync=" + Text(options.autoSync) + " level=" + Text(options.securityLevel) +
         " policy=" + Text(options.conflictPolicy) + " type=" + Text(options.kvStoreType) +
         " schema=" + Text(options.schema) + " owner=" + Text(options.storeOwnerType);
}

template <typename... Parts>
Status Did(const char* operation, const Parts&... parts) {
  std::string line = operation;
  if (Trace::Get().On()) ((line += " " + Text(parts)), ...);
  return Client::Get().Did(line);
}

Answers& Told() {
  return Client::Get().answers;
}

template <typename T>
void Remove(std::vector<T>& list, const T& item) {
  list.erase(std::remove(list.begin(), list.end(), item), list.end());
}

// Destruction is noted, and ends the client's knowledge of the object.
class Counted {
 public:
  explicit Counted(const char* name) : name_(name) {}
  Counted(const Counted&) = delete;
  Counted& operator=(const Counted&) = delete;
  ~Counted() { Trace::Get().Add(std::string("> ~") + name_); }

 private:
  const char* name_;
};

template <typename T>
std::unique_ptr<T> MakeOwned() {
  return std::unique_ptr<T>(Client::Get().Make<T>());
}

// Answers an operation that delivers an object through a callback.
template <typename Scripted, typename Callback>
void Deliver(Status status, const Callback& callback) {
  if (!Told().calledBack) return;
  auto object = Told().delivers ? MakeOwned<Scripted>() : nullptr;
  Names::Get().Set("made", reinterpret_cast<jlong>(object.get()));
  callback(status, std::move(object));
}

template <typename T>
Status TakeBack(Status status, std::unique_ptr<T>& object) {
  if (Told().keeps) object.reset();
  return status;
}

Status Subscribe(Status status, const std::shared_ptr<kv::KvStoreObserver>& observer) {
  if (status == Status::SUCCESS) {
    Client::Get().Hold([&](Callbacks& held) { held.observers.push_back(observer); });
  }
  return status;
}

Status Unsubscribe(Status status, const std::shared_ptr<kv::KvStoreObserver>& observer) {
  if (status == Status::SUCCESS) {
    Client::Get().Hold([&](Callbacks& held) { Remove(held.observers, observer); });
  }
  return status;
}

class Snapshot : public kv::KvStoreSnapshot {
 public:
  ~Snapshot() override { Client::Get().Forget(this); }
  void GetEntries(const Key& prefix, std::function<void(Status, std::vector<Entry>&)> callback) override {
    const Status status = Did("Snapshot.GetEntries", prefix);
    if (Told().calledBack) callback(status, Told().entries);
  }
  void GetKeys(const Key& prefix, std::function<void(Status, std::vector<Key>&)> callback) override {
    const Status status = Did("Snapshot.GetKeys", prefix);
    if (Told().calledBack) callback(status, Told().keys);
  }
  Status Get(const Key& key, Value& value) override {
    value = Told().value;
    return Did("Snapshot.Get", key);
  }

 private:
  Counted counted_{"Snapshot"};
};

class ResultSet : public kv::KvStoreResultSet {
 public:
  ~ResultSet() override { Client::Get().Forget(this); }
  int32_t GetCount() const override { return Number("ResultSet.GetCount"); }
  int32_t GetPosition() const override { return Number("ResultSet.GetPosition"); }
  bool MoveToFirst() override { return Flag("ResultSet.MoveToFirst"); }
  bool MoveToLast() override { return Flag("ResultSet.MoveToLast"); }
  bool MoveToNext() override { return Flag("ResultSet.MoveToNext"); }
  bool MoveToPrevious() override { return Flag("ResultSet.MoveToPrevious"); }
  bool Move(int32_t offset) override { return Flag("ResultSet.Move " + Text(offset)); }
  bool MoveToPosition(int32_t position) override {
    return Flag("ResultSet.MoveToPosition " + Text(position));
  }
  bool IsFirst() const override { return Flag("ResultSet.IsFirst"); }
  bool IsLast() const override { return Flag("ResultSet.IsLast"); }
  bool IsBeforeFirst() const override { return Flag("ResultSet.IsBeforeFirst"); }
  bool IsAfterLast() const override { return Flag("ResultSet.IsAfterLast"); }
  Status GetEntry(Entry& entry) const override {
    entry = Told().entries.front();
    return Did("ResultSet.GetEntry");
  }

 private:
  static int32_t Number(const std::string& operation) {
    Client::Get().Did(operation);
    return Told().number;
  }
  static bool Flag(const std::string& operation) {
    Client::Get().Did(operation);
    return Told().flag;
  }
  Counted counted_{"ResultSet"};
};

class Store : public kv::KvStore {
 public:
  ~Store() override { Client::Get().Forget(this); }
  kv::StoreId GetStoreId() const override {
    Did("Store.GetStoreId");
    return {"store"};
  }
  void GetKvStoreSnapshot(
      std::shared_ptr<kv::KvStoreObserver> observer,
      std::function<void(Status, std::unique_ptr<kv::KvStoreSnapshot>)> callback) override {
    Deliver<Snapshot>(Did("Store.GetKvStoreSnapshot", std::string(observer ? "observer" : "")), callback);
  }
  Status ReleaseKvStoreSnapshot(std::unique_ptr<kv::KvStoreSnapshot> snapshot) override {
    return TakeBack(Did("Store.ReleaseKvStoreSnapshot"), snapshot);
  }
  Status Put(const Key& key, const Value& value) override { return Did("Store.Put", key, value); }
  Status PutBatch(const std::vector<Entry>& entries) override { return Did("Store.PutBatch", entries); }
  Status Delete(const Key& key) override { return Did("Store.Delete", key); }
  Status DeleteBatch(const std::vector<Key>& keys) override { return Did("Store.DeleteBatch", keys); }
  Status Clear() override { return Did("Store.Clear"); }
  Status StartTransaction() override { return Did("Store.StartTransaction"); }
  Status Commit() override { return Did("Store.Commit"); }
  Status Rollback() override { return Did("Store.Rollback"); }
  Status SubscribeKvStore(kv::SubscribeType type, std::shared_ptr<kv::KvStoreObserver> observer) override {
    return Subscribe(Did("Store.SubscribeKvStore", type), observer);
  }
  Status UnSubscribeKvStore(kv::SubscribeType type, std::shared_ptr<kv::KvStoreObserver> observer) override {
    return Unsubscribe(Did("Store.UnSubscribeKvStore", type), observer);
  }

 private:
  Counted counted_{"Store"};
};

class SingleStore : public kv::SingleKvStore {
 public:
  ~SingleStore() override { Client::Get().Forget(this); }
  Status GetEntries(const Key& prefix, std::vector<Entry>& entries) const override {
    entries = Told().entries;
    return Did("SingleStore.GetEntries", prefix);
  }
  Status GetEntriesWithQuery(const std::string& query, std::vector<Entry>& entries) const override {
    entries = Told().entries;
    return Did("SingleStore.GetEntriesWithQuery", query);
  }
  void GetResultSet(const Key& prefix, ResultSetCallback callback) const override {
    Deliver<ResultSet>(Did("SingleStore.GetResultSet", prefix), callback);
  }
  void GetResultSetWithQuery(const std::string& query, ResultSetCallback callback) const override {
    Deliver<ResultSet>(Did("SingleStore.GetResultSetWithQuery", query), callback);
  }
  Status CloseResultSet(std::unique_ptr<kv::KvStoreResultSet>&& resultSet) override {
    const Status status = Did("SingleStore.CloseResultSet");
    return TakeBack(status, resultSet);
  }
  Status GetCountWithQuery(const std::string& query, int32_t& count) const override {
    count = Told().number;
    return Did("SingleStore.GetCountWithQuery", query);
  }
  Status Sync(const std::vector<std::string>& deviceIds, kv::SyncMode mode, int32_t delayMs) override {
    return Did("SingleStore.Sync", deviceIds, mode, delayMs);
  }
  Status RemoveDeviceData(const std::string& deviceId, int32_t flags) override {
    return Did("SingleStore.RemoveDeviceData", deviceId, flags);
  }
  kv::StoreId GetStoreId() const override {
    Did("SingleStore.GetStoreId");
    return {"single"};
  }
  Status Delete(const Key& key) override { return Did("SingleStore.Delete", key); }
  Status Put(const Key& key, const Value& value) override { return Did("SingleStore.Put", key, value); }
  Status Get(const Key& key, Value& value) const override {
    value = Told().value;
    return Did("SingleStore.Get", key);
  }
  Status SubscribeKvStore(kv::SubscribeType type, std::shared_ptr<kv::KvStoreObserver> observer) override {
    return Subscribe(Did("SingleStore.SubscribeKvStore", type), observer);
  }
  Status UnSubscribeKvStore(kv::SubscribeType type, std::shared_ptr<kv::KvStoreObserver> observer) override {
    return Unsubscribe(Did("SingleStore.UnSubscribeKvStore", type), observer);
  }
  Status RegisterSyncCallback(std::shared_ptr<kv::KvStoreSyncCallback> callback) override {
    Client::Get().Hold([&](Callbacks& held) { held.sync = callback; });
    return Did("SingleStore.RegisterSyncCallback");
  }
  Status UnRegisterSyncCallback() override { return Did("SingleStore.UnRegisterSyncCallback"); }
  Status PutBatch(const std::vector<Entry>& entries) override { return Did("SingleStore.PutBatch", entries); }
  Status DeleteBatch(const std::vector<Key>& keys) override { return Did("SingleStore.DeleteBatch", keys); }
  Status StartTransaction() override { return Did("SingleStore.StartTransaction"); }
  Status Commit() override { return Did("SingleStore.Commit"); }
  Status Rollback() override { return Did("SingleStore.Rollback"); }
  Status SetSyncParam(const kv::SyncParam& param) override {
    return Did("SingleStore.SetSyncParam", param.allowedDelayMs);
  }
  Status SetCapabilityEnabled(bool enabled) override {
    return Did("SingleStore.SetCapabilityEnabled", enabled);
  }
  Status SetCapabilityRange(const std::vector<std::string>& local,
                            const std::vector<std::string>& remote) override {
    return Did("SingleStore.SetCapabilityRange", local, remote);
  }
  Status GetSecurityLevel(kv::SecurityLevel& level) const override {
    level = static_cast<kv::SecurityLevel>(Told().number);
    return Did("SingleStore.GetSecurityLevel");
  }

 private:
  Counted counted_{"SingleStore"};
};

}  // namespace

Answers::Answers()
    : value(std::vector<uint8_t>{7, 8, 9}),
      entries({{Key("k1"), Value(std::vector<uint8_t>{1, 2})}}),
      keys({Key("k1"), Key("k2")}),
      storeIds({{"s1"}, {"s2"}}),
      devices({{"id1", "name1", "type1"}}) {}

Client& Client::Get() {
  static auto* client = new Client;  // the code under test reaches it at exit
  return *client;
}

void Client::Reset() {
  answers = {};
  Drop();
  Reclaim();
}

Status Client::Did(const std::string& operation) {
  Trace::Get().Add("> " + operation);
  if (answers.throws) throw std::runtime_error("the client fails");
  return answers.status;
}

Callbacks Client::Held() {
  const std::lock_guard lock(mutex_);
  return callbacks_;
}

void Client::Drop() {
  Callbacks dropped;
  Hold([&](Callbacks& held) { std::swap(held, dropped); });
}

template <typename T>
T* Client::Make() {
  T* object = new T;
  const std::lock_guard lock(mutex_);
  live_.push_back({object, [object] { delete object; }});
  return object;
}

void Client::Forget(void* object) {
  const std::lock_guard lock(mutex_);
  live_.erase(
      std::remove_if(live_.begin(), live_.end(), [=](const Owned& owned) { return owned.object == object; }),
      live_.end());
}

size_t Client::Live() {
  const std::lock_guard lock(mutex_);
  return live_.size();
}

void Client::Reclaim() {
  std::vector<Owned> left;
  {
    const std::lock_guard lock(mutex_);
    left = live_;
  }
  for (const Owned& owned : left) owned.destroy();
}

std::string Describe(const Blob& blob) {
  constexpr char kDigits[] = "0123456789abcdef";
  std::string text;
  for (const uint8_t byte : blob.Data()) {
    text += kDigits[byte >> 4];
    text += kDigits[byte & 15];
  }
  return text;
}

std::string Describe(const std::vector<Entry>& entries) {
  std::string text = "{";
  for (const Entry& entry : entries) {
    text += (text.size() > 1 ? "," : "") + Describe(entry.key) + "=" + Describe(entry.value);
  }
  return text + "}";
}

std::unique_ptr<kv::KvStore> MakeStore() {
  return MakeOwned<Store>();
}
std::unique_ptr<kv::SingleKvStore> MakeSingleStore() {
  return MakeOwned<SingleStore>();
}
std::unique_ptr<kv::KvStoreSnapshot> MakeSnapshot() {
  return MakeOwned<Snapshot>();
}
std::unique_ptr<kv::KvStoreResultSet> MakeResultSet() {
  return MakeOwned<ResultSet>();
}

}  // namespace fake

// The part of the client library that the contract declares.
namespace KORA::DistributedKv {

using fake::Callbacks;
using fake::Client;

bool Entry::Flatten(std::vector<uint8_t>& /*out*/) const {
  return false;
}

class DistributedKvDataManager::Impl {};

DistributedKvDataManager::DistributedKvDataManager() {
  fake::Trace::Get().Add("> Manager");
}
DistributedKvDataManager::~DistributedKvDataManager() = default;

void DistributedKvDataManager::GetKvStore(const Options& options, const AppId& appId, const StoreId& storeId,
                                          std::function<void(Status, std::unique_ptr<KvStore>)> callback) {
  fake::Deliver<fake::Store>(fake::Did("Manager.GetKvStore", appId, storeId, options), callback);
}
void DistributedKvDataManager::GetSingleKvStore(
    const Options& options, const AppId& appId, const StoreId& storeId,
    std::function<void(Status, std::unique_ptr<SingleKvStore>)> callback) {
  fake::Deliver<fake::SingleStore>(fake::Did("Manager.GetSingleKvStore", appId, storeId, options), callback);
}
Status DistributedKvDataManager::CloseKvStore(const AppId& appId, const StoreId& storeId,
                                              std::unique_ptr<KvStore> store) {
  return fake::Did("Manager.CloseKvStore", appId, storeId, std::string(store ? "store" : ""));
}
Status DistributedKvDataManager::DeleteKvStore(const AppId& appId, const StoreId& storeId) {
  return fake::Did("Manager.DeleteKvStore", appId, storeId);
}
void DistributedKvDataManager::GetAllKvStoreId(const AppId& appId,
                                               std::function<void(Status, std::vector<StoreId>&)> callback) {
  const Status status = fake::Did("Manager.GetAllKvStoreId", appId);
  if (fake::Told().calledBack) callback(status, fake::Told().storeIds);
}
Status DistributedKvDataManager::GetLocalDevice(DeviceInfo& device) {
  device = fake::Told().devices.front();
  return fake::Did("Manager.GetLocalDevice");
}
Status DistributedKvDataManager::GetDeviceList(std::vector<DeviceInfo>& devices,
                                               DeviceFilterStrategy strategy) {
  devices = fake::Told().devices;
  return fake::Did("Manager.GetDeviceList", strategy);
}
Status DistributedKvDataManager::StartWatchDeviceChange(
    std::shared_ptr<DeviceStatusChangeListener> listener) {
  const Status status = fake::Did("Manager.StartWatchDeviceChange", listener->GetFilterStrategy());
  if (status == Status::SUCCESS) {
    Client::Get().Hold([&](Callbacks& held) { held.listeners.push_back(listener); });
  }
  return status;
}
Status DistributedKvDataManager::StopWatchDeviceChange(std::shared_ptr<DeviceStatusChangeListener> listener) {
  const Status status = fake::Did("Manager.StopWatchDeviceChange");
  if (status == Status::SUCCESS) {
    Client::Get().Hold([&](Callbacks& held) { fake::Remove(held.listeners, listener); });
  }
  return status;
}
void DistributedKvDataManager::RegisterKvStoreServiceDeathRecipient(
    std::shared_ptr<KvStoreDeathRecipient> recipient) {
  Client::Get().Hold([&](Callbacks& held) { held.recipients.push_back(recipient); });
  fake::Did("Manager.RegisterKvStoreServiceDeathRecipient");
}
void DistributedKvDataManager::UnRegisterKvStoreServiceDeathRecipient(
    std::shared_ptr<KvStoreDeathRecipient> recipient) {
  Client::Get().Hold([&](Callbacks& held) { fake::Remove(held.recipients, recipient); });
  fake::Did("Manager.UnRegisterKvStoreServiceDeathRecipient");
}

}  // namespace KORA::DistributedKv
