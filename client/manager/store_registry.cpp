#include "manager/store_registry.h"

#include <utility>

#include "cluster/service.h"
#include "common/files.h"
#include "common/guard.h"
#include "common/limits.h"
#include "common/log.h"
#include "common/settings.h"
#include "device/local_device.h"
#include "engine/backups.h"
#include "engine/engine.h"
#include "manager/exit_handler.h"
#include "manager/folder_watch.h"
#include "manager/recovery.h"
#include "manager/store_engine.h"
#include "schema/catalog.h"
#include "schema/schema.h"
#include "store/failure_link.h"

namespace KORA::DistributedKv::Client {

namespace {

constexpr int32_t kHighestSecurityLevel = 5;
constexpr int32_t kNewestVersionWins = 2;

Status RefuseIdentifier(const char* what) {
  __android_log_print(
      KORA_LOG_WARN, kLogTag,
      "refused: the %s identifier; allowed are 1 to %zu of A-Z a-z 0-9 . _ - and no dot in front", what,
      kMaxIdentifierSize);
  return Status::INVALID_ARGUMENT;
}

Status CheckApplication(const std::string& application) {
  return IsIdentifier(application) ? Status::SUCCESS : RefuseIdentifier("application");
}

Status CheckName(const StoreName& name) {
  if (const Status status = CheckApplication(name.application); status != Status::SUCCESS) return status;
  return IsIdentifier(name.store) ? Status::SUCCESS : RefuseIdentifier("store");
}

Status Refuse(Status status, const char* reason) {
  __android_log_print(KORA_LOG_WARN, kLogTag, "refused to open a store: %s", reason);
  return status;
}

Status CheckOptions(const Options& options) {
  const auto level = static_cast<int32_t>(options.securityLevel);
  const auto type = static_cast<int32_t>(options.kvStoreType);
  if (level < 0 || level > kHighestSecurityLevel) {
    return Refuse(Status::INVALID_ARGUMENT, "the security level is none of 0 to 5");
  }
  if (type < 0 || type > static_cast<int32_t>(KvStoreType::MULTI_VERSION)) {
    return Refuse(Status::INVALID_ARGUMENT, "the store type is none of 0 to 2");
  }
  if (!options.persistent) return Refuse(Status::NOT_SUPPORT, "stores are always kept on disk");
  if (options.conflictPolicy != kNewestVersionWins) {
    return Refuse(Status::NOT_SUPPORT, "the newest version always wins a conflict");
  }
  // Before anything is made for a new store.
  std::optional<Schema> schema;
  return options.schema.empty() ? Status::SUCCESS : Schema::Parse(options.schema, schema);
}

Status CheckTraits(const StoreTraits& actual, const StoreTraits& wanted) {
  if (actual.kind != wanted.kind) {
    return Refuse(Status::INVALID_ARGUMENT, actual.kind == StoreKind::kSingle
                                                ? "it is a single-version store"
                                                : "it is a multi-version store");
  }
  if (actual.encrypted != wanted.encrypted) {
    return Refuse(Status::INVALID_ARGUMENT, actual.encrypted ? "it is encrypted" : "it is not encrypted");
  }
  if (actual.securityLevel != wanted.securityLevel) {
    return Refuse(Status::SECURITY_LEVEL_ERROR, "it was created with another security level");
  }
  return Status::SUCCESS;
}

Status CheckShared(const Store& store, const StoreTraits& wanted, const std::string& schema) {
  const Status status = CheckTraits(store.Traits(), wanted);
  return status == Status::SUCCESS ? store.GetCatalog().Accept(schema) : status;
}

std::filesystem::path PathOf(const Settings& settings, const StoreName& name) {
  return settings.home / name.application / name.store;
}

// By the setting, or because the file system lets nobody write.
bool IsReadOnly(const std::filesystem::path& store) {
  const Settings* settings = nullptr;
  if (FindSettings(settings) == Status::SUCCESS && settings->access == Access::kReadOnly) return true;
  return IsOnReadOnlyFileSystem(store);
}

FolderLock LockModeOf(const std::filesystem::path& store) {
  return IsReadOnly(store) ? FolderLock::kTryShared : FolderLock::kTry;
}

// What the folder holds, or the beginning of a new store. RECOVER_FAILED: the store is damaged.
Status ReadOrBegin(const StoreFolder& folder, const StoreTraits& wanted, const Options& options,
                   StoreRecord& record, bool& is_new) {
  const std::filesystem::path& path = folder.Path();
  const bool backed_up = HasBackups(BackupsOf(path));
  Status status = ReadRecord(path, record);
  // While another process recovers a store its folder is missing for a moment, and whoever makes it then has
  // locked one that is gone as soon as the restored store is there.
  if (status == Status::SUCCESS && !folder.IsThere())
    return Refuse(Status::DB_ERROR, "another process has just recovered it");
  // Where there are backups the store was complete once.
  if (status == Status::STORE_NOT_FOUND && backed_up) return Status::RECOVER_FAILED;
  is_new = status == Status::STORE_NOT_FOUND && options.createIfMissing && !IsReadOnly(path);
  if (is_new) {
    record.traits = wanted;
    return folder.BeginCreation();
  }
  return status == Status::SUCCESS ? CheckTraits(record.traits, wanted) : status;
}

// What is left to do once the store has proved to work.
Status Complete(const StoreFolder& folder, const StoreRecord& record, bool is_new, bool backup) {
  Status status = backup ? PrepareBackups(folder.Path(), record) : Status::SUCCESS;
  if (status == Status::SUCCESS && is_new) status = WriteRecord(folder.Path(), record);
  if (status == Status::SUCCESS) folder.EndCreation();
  return status;
}

}  // namespace

class StoreRegistry::SlotUse {
 public:
  SlotUse(StoreRegistry& registry, const StoreName& name) : registry_(registry) {
    const std::lock_guard<std::mutex> lock(registry_.mutex_);
    place_ = registry_.slots_.try_emplace(name).first;
    ++place_->second.users;
  }
  SlotUse(const SlotUse&) = delete;
  SlotUse& operator=(const SlotUse&) = delete;
  ~SlotUse() {
    std::map<StoreName, Slot>::node_type unused;  // ends when no other store has to wait for it
    const std::lock_guard<std::mutex> lock(registry_.mutex_);
    if (--place_->second.users == 0) unused = registry_.slots_.extract(place_);
  }

  Slot* operator->() const { return &place_->second; }
  Slot& operator*() const { return place_->second; }

  void AddHandle() {
    const std::lock_guard<std::mutex> lock(registry_.mutex_);
    ++place_->second.handles;
    ++place_->second.users;
  }
  // Whether it was the last one of the store that is open.
  bool RemoveHandle(const Store* store) {
    const std::lock_guard<std::mutex> lock(registry_.mutex_);
    --place_->second.users;
    return place_->second.store.get() == store && --place_->second.handles == 0;
  }
  // The handles of a store that has failed do not count any more.
  void ForgetHandles() {
    const std::lock_guard<std::mutex> lock(registry_.mutex_);
    place_->second.handles = 0;
  }

 private:
  StoreRegistry& registry_;
  std::map<StoreName, Slot>::iterator place_;
};

StoreRegistry& StoreRegistry::Instance() {
  static auto& instance = *new StoreRegistry();  // in use until the process has ended
  return instance;
}

Status StoreRegistry::Open(const StoreName& name, StoreKind kind, const Options& options,
                           std::unique_ptr<StoreLease>& lease) {
  const OperationGate::Pass pass(gate_);
  if (!pass) return Status::STORE_NOT_OPEN;
  if (InForkedChild()) return Refuse(Status::ERROR, "a process that uses stores was forked without exec");
  const Settings* settings = nullptr;
  Status status = CheckName(name);
  if (status == Status::SUCCESS) status = CheckOptions(options);
  if (status == Status::SUCCESS) status = FindSettings(settings);
  if (status != Status::SUCCESS) return status;

  const StoreTraits wanted{kind, static_cast<int32_t>(options.securityLevel), options.encrypt};
  SlotUse slot(*this, name);
  const std::lock_guard<std::mutex> lock(slot->mutex);
  if (CloseFailed(slot) != Status::SUCCESS) return Status::DB_ERROR;
  status = slot->store ? CheckShared(*slot->store, wanted, options.schema)
                       : OpenSlot(*slot, PathOf(*settings, name), wanted, options);
  if (status != Status::SUCCESS) return status;
  if (Cluster::Service* cluster = slot->store->IsReadOnly() ? nullptr : Cluster::Service::Find()) {
    cluster->Open(name.application, slot->store, options.autoSync);
  }
  const Store* store = slot->store.get();
  lease = std::make_unique<StoreLease>(slot->store, [this, name, store] { Release(name, store); });
  slot.AddHandle();
  return Status::SUCCESS;
}

Status StoreRegistry::OpenSlot(Slot& slot, const std::filesystem::path& path, const StoreTraits& wanted,
                               const Options& options) {
  const bool read_only = IsReadOnly(path);
  if (!read_only) RemoveLeftovers(path.parent_path());
  const bool make = !read_only && (options.createIfMissing || HasBackups(BackupsOf(path)));
  if (const std::error_code error = make ? MakePrivateFolders(path) : std::error_code()) {
    __android_log_print(KORA_LOG_ERROR, kLogTag, "cannot make folder %s: %s", path.c_str(),
                        error.message().c_str());
    return Status::DB_ERROR;
  }
  std::optional<StoreFolder> folder;
  Status status = StoreFolder::Lock(path, LockModeOf(path), folder);
  if (status == Status::SUCCESS) status = OpenOrRecover(*folder, wanted, options, slot.store);
  if (status != Status::SUCCESS) return status;
  slot.folder = std::move(folder);
  WatchFolders(path);
  // It may have gone before it was watched.
  if (!slot.folder->IsThere()) slot.store->FailEngine();
  CloseStoresAtExit();
  return Status::SUCCESS;
}

Status StoreRegistry::OpenOrRecover(const StoreFolder& folder, const StoreTraits& wanted,
                                    const Options& options, std::shared_ptr<Store>& store) {
  const std::filesystem::path& path = folder.Path();
  const bool marked = IsMarkedDamaged(path);
  const bool recovers = options.backup || HasBackups(BackupsOf(path));
  Status status = marked && recovers ? Status::RECOVER_FAILED : OpenFolder(folder, wanted, options, store);
  if (status != Status::RECOVER_FAILED) return status;
  if (IsReadOnly(path)) return Status::DB_ERROR;
  status = Recover(folder, wanted, options);
  // Who does not insist on backups gets to what can still be read.
  const bool salvages = status == Status::RECOVER_FAILED && marked && !options.backup;
  return salvages ? OpenFolder(folder, wanted, options, store) : status;
}

// RECOVER_FAILED: the store is damaged.
Status StoreRegistry::OpenFolder(const StoreFolder& folder, const StoreTraits& wanted, const Options& options,
                                 std::shared_ptr<Store>& store) {
  StoreRecord record;
  bool is_new = false;
  const Settings* settings = nullptr;
  DeviceInfo device;
  Status status = ReadOrBegin(folder, wanted, options, record, is_new);
  if (status == Status::SUCCESS) status = FindSettings(settings);
  if (status == Status::SUCCESS) status = FindLocalDevice(device);
  if (status != Status::SUCCESS) return status;

  const std::filesystem::path& path = folder.Path();
  const auto link = std::make_shared<FailureLink>();
  std::unique_ptr<Engine> made;
  EngineUse use{is_new, IsReadOnly(path), {}, [link] { link->Report(); }};
  if (options.backup && !use.readOnly) use.backups = BackupsOf(path);
  status = OpenStoreEngine(path, std::move(use), record, made);
  if (status != Status::SUCCESS) return status;
  Engine& engine = *made;
  auto opened = std::make_shared<Store>(path.filename().string(), wanted, std::move(made), device.deviceId,
                                        settings->rateLimit);
  status = opened->Load(options.schema);
  if (status == Status::SUCCESS && !engine.ReadOnly())
    status = Complete(folder, record, is_new, options.backup);
  if (status == Status::SUCCESS) {
    engine.StartBackups();
    link->Connect(opened);
    store = std::move(opened);
  }
  return status == Status::DB_ERROR && IsMarkedDamaged(path) ? Status::RECOVER_FAILED : status;
}

// RECOVER_SUCCESS: the next opening finds the store as a backup has it.
Status StoreRegistry::Recover(const StoreFolder& folder, const StoreTraits& wanted, const Options& options) {
  const std::filesystem::path& path = folder.Path();
  if (!options.backup && !HasBackups(BackupsOf(path))) return Status::DB_ERROR;
  StoreRecord record;
  Status status = FindRecord(path, record);
  if (status == Status::SUCCESS) status = CheckTraits(record.traits, wanted);
  if (status == Status::SUCCESS) status = RestoreStore(folder, record);
  return status == Status::SUCCESS ? Status::RECOVER_SUCCESS : status;
}

Status StoreRegistry::CheckOpen(const StoreName& name) {
  if (const Status status = CheckName(name); status != Status::SUCCESS) return status;
  const std::lock_guard<std::mutex> lock(mutex_);
  const auto found = slots_.find(name);
  return found != slots_.end() && found->second.handles > 0 ? Status::SUCCESS : Status::STORE_NOT_OPEN;
}

Status StoreRegistry::Delete(const StoreName& name) {
  const OperationGate::Pass pass(gate_);
  if (!pass) return Status::STORE_NOT_OPEN;
  const Settings* settings = nullptr;
  Status status = CheckName(name);
  if (status == Status::SUCCESS) status = FindSettings(settings);
  if (status != Status::SUCCESS) return status;

  const SlotUse slot(*this, name);
  const std::lock_guard<std::mutex> lock(slot->mutex);
  if (slot->store) {
    __android_log_print(KORA_LOG_WARN, kLogTag, "store %s is open; close it before it is deleted",
                        name.store.c_str());
    return Status::ERROR;
  }
  const std::filesystem::path path = PathOf(*settings, name);
  if (IsReadOnly(path)) return Refuse(Status::READ_ONLY, "it may only be read");
  RemoveLeftovers(path.parent_path());
  const bool backed_up = HasBackups(BackupsOf(path));
  std::optional<StoreFolder> folder;
  StoreRecord record;
  status = StoreFolder::Lock(path, FolderLock::kTry, folder);
  if (status == Status::STORE_NOT_FOUND && backed_up) return RemoveBackups(path);
  if (status != Status::SUCCESS) return status;
  if (ReadRecord(path, record) == Status::STORE_NOT_FOUND && !backed_up && !folder->HoldsStore())
    return Status::STORE_NOT_FOUND;
  // Backups without their store would bring it to life again.
  if (std::filesystem::exists(BackupsOf(path))) status = RemoveBackups(path);
  return status == Status::SUCCESS ? RemoveFolder(path, path.parent_path()) : status;
}

Status StoreRegistry::List(const std::string& application, std::vector<StoreId>& storeIds) {
  const Settings* settings = nullptr;
  Status status = CheckApplication(application);
  if (status == Status::SUCCESS) status = FindSettings(settings);
  std::vector<std::string> names;
  if (status == Status::SUCCESS) status = ListStores(settings->home / application, names);
  for (std::string& name : names) storeIds.push_back({std::move(name)});
  return status;
}

void StoreRegistry::Release(const StoreName& name, const Store* store) {
  const OperationGate::Pass pass(gate_);
  if (!pass || InForkedChild()) return;
  SlotUse slot(*this, name);
  const std::lock_guard<std::mutex> lock(slot->mutex);
  if (slot.RemoveHandle(store)) slot->Close();
}

// An opening that was cut off by an exception leaves a store without handles.
StoreRegistry::Slot::~Slot() {
  if (store == nullptr) return;
  Guard([this] { Close(); });
}

void StoreRegistry::Slot::Close() {
  if (Cluster::Service* cluster = Cluster::Service::Running()) cluster->Close(*store);
  store->Close();
  store.reset();
  folder.reset();
}

// The engine of a store that has failed ends with its last handle, or when the store is opened again.
Status StoreRegistry::CloseFailed(SlotUse& slot) {
  if (!slot->store || !slot->store->HasFailed()) return Status::SUCCESS;
  constexpr auto kPatience = std::chrono::seconds(5);
  if (!slot->store->Gate().AwaitIdle(std::chrono::steady_clock::now() + kPatience)) return Status::DB_ERROR;
  slot.ForgetHandles();
  slot->Close();
  return Status::SUCCESS;
}

// What happens to the folders above takes the stores in them along.
void StoreRegistry::WatchFolders(const std::filesystem::path& store) {
  static const auto& watch = *new FolderWatch([this] { FindLostFolders(); });
  const std::filesystem::path application = store.parent_path();
  watch.Add(application);
  watch.Add(application.parent_path());
}

void StoreRegistry::FindLostFolders() {
  // CloseAll waits for those inside, so that it finds no slot in use.
  const OperationGate::Pass pass(gate_);
  if (!pass) return;
  std::vector<StoreName> names;
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    for (const auto& slot : slots_) names.push_back(slot.first);
  }
  for (const StoreName& name : names) {
    SlotUse slot(*this, name);
    const std::lock_guard<std::mutex> lock(slot->mutex);
    if (slot->store && !slot->folder->IsThere()) slot->store->FailEngine();
  }
}

std::vector<std::shared_ptr<Store>> StoreRegistry::OpenStores() {
  const std::lock_guard<std::mutex> lock(mutex_);
  std::vector<std::shared_ptr<Store>> stores;
  for (auto& [name, slot] : slots_) {
    // A slot that is busy now missed the deadline.
    const std::unique_lock<std::mutex> idle(slot.mutex, std::try_to_lock);
    if (idle && slot.store) stores.push_back(slot.store);
  }
  return stores;
}

void StoreRegistry::CloseAll(Deadline deadline) {
  gate_.Close();
  gate_.AwaitIdle(deadline);
  const std::vector<std::shared_ptr<Store>> stores = OpenStores();
  for (const auto& store : stores) store->Gate().Close();
  for (const auto& store : stores) {
    if (store->Gate().AwaitIdle(deadline)) store->Close();
  }
}

}  // namespace KORA::DistributedKv::Client
