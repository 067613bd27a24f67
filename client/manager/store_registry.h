// The stores of this process, whichever managers opened them.
#pragma once

#include <filesystem>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <tuple>
#include <vector>

#include "common/operation_gate.h"
#include "contract/status.h"
#include "contract/types.h"
#include "manager/store_folder.h"
#include "store/store.h"
#include "store/store_lease.h"

namespace KORA::DistributedKv::Client {

struct StoreName {
  std::string application;
  std::string store;

  bool operator<(const StoreName& other) const {
    return std::tie(application, store) < std::tie(other.application, other.store);
  }
};

// Any thread may call. All answer INVALID_ARGUMENT for an identifier that is none or for bad settings, and
// Open and Delete STORE_NOT_OPEN once CloseAll has begun.
class StoreRegistry {
 public:
  static StoreRegistry& Instance();

  // Opens the store, or shares it if it is open. `lease` stays empty on failure:
  //   INVALID_ARGUMENT     options that are none, or a store of the other kind or encryption
  //   NOT_SUPPORT          options that ask for what no store does
  //   STORE_NOT_FOUND      it is not there, and is not to be made or can't be, where all is only read
  //   SECURITY_LEVEL_ERROR it was created with another level
  //   INVALID_SCHEMA, SCHEMA_MISMATCH
  //   RECOVER_SUCCESS      it was damaged; the next opening finds it as a backup has it
  //   RECOVER_FAILED       it is damaged, and no backup serves of those that it has or was to have
  //   DB_ERROR             it can't be opened now, or is damaged without backups
  //   ERROR                this process is a copy by fork of one with stores, or the unexpected
  Status Open(const StoreName& name, StoreKind kind, const Options& options,
              std::unique_ptr<StoreLease>& lease);
  // SUCCESS while a handle of the store is open, else STORE_NOT_OPEN.
  Status CheckOpen(const StoreName& name);
  // ERROR while it is open; STORE_NOT_FOUND; READ_ONLY; DB_ERROR.
  Status Delete(const StoreName& name);
  // SUCCESS or DB_ERROR. An application without stores has none.
  Status List(const std::string& application, std::vector<StoreId>& storeIds);

  // For the end of the process: turns all further calls away, here and at every store, waits for those inside
  // until the deadline and closes the engines. What does not become idle in time stays as it is.
  void CloseAll(Deadline deadline);

 private:
  // One store's place. Its mutex makes opening, closing and deleting take turns; the registry's guards the
  // map and `users`. A place stays in the map while it has users: each open handle is one.
  struct Slot {
    int users = 0;
    std::mutex mutex;
    std::optional<StoreFolder> folder;
    std::shared_ptr<Store> store;
    int handles = 0;  // of this store

    Slot() = default;
    Slot(const Slot&) = delete;
    Slot& operator=(const Slot&) = delete;
    ~Slot();

    void Close();
  };
  // A user of a slot.
  class SlotUse;

  Status OpenSlot(Slot& slot, const std::filesystem::path& path, const StoreTraits& wanted,
                  const Options& options);
  Status OpenOrRecover(const StoreFolder& folder, const StoreTraits& wanted, const Options& options,
                       std::shared_ptr<Store>& store);
  Status OpenFolder(const StoreFolder& folder, const StoreTraits& wanted, const Options& options,
                    std::shared_ptr<Store>& store);
  static Status Recover(const StoreFolder& folder, const StoreTraits& wanted, const Options& options);
  void Release(const StoreName& name, const Store* store);
  static Status CloseFailed(SlotUse& slot);
  void WatchFolders(const std::filesystem::path& store);
  void FindLostFolders();
  std::vector<std::shared_ptr<Store>> OpenStores();

  OperationGate gate_;
  std::mutex mutex_;
  std::map<StoreName, Slot> slots_;
};

}  // namespace KORA::DistributedKv::Client
