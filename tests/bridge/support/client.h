// A scripted store client: it answers as the test tells it, notes each operation in the trace as
// "> Class.Operation arguments", and keeps what it was given.
#pragma once

#include <atomic>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "contract/distributed_kv_data_manager.h"

namespace fake {

namespace kv = KORA::DistributedKv;

// What the client was given to call back; any thread may take copies.
struct Callbacks {
  std::vector<std::shared_ptr<kv::KvStoreObserver>> observers;
  std::vector<std::shared_ptr<kv::DeviceStatusChangeListener>> listeners;
  std::vector<std::shared_ptr<kv::KvStoreDeathRecipient>> recipients;
  std::shared_ptr<kv::KvStoreSyncCallback> sync;
};

// What every operation answers. Set it before the threads start.
struct Answers {
  kv::Status status = kv::Status::SUCCESS;
  bool throws = false;     // a C++ exception instead
  bool calledBack = true;  // operations with a callback run it
  bool delivers = true;    // an object comes with the status, whatever it is
  bool keeps = true;       // what is given back by ownership is taken over (and deleted)
  kv::Value value;
  std::vector<kv::Entry> entries;
  std::vector<kv::Key> keys;
  std::vector<kv::StoreId> storeIds;
  std::vector<kv::DeviceInfo> devices;
  int32_t number = 5;  // counts, positions, levels
  bool flag = true;    // what cursor moves answer

  Answers();
};

class Client {
 public:
  static Client& Get();

  Answers answers;
  void Reset();

  // Notes an operation and answers it.
  kv::Status Did(const std::string& operation);

  Callbacks Held();
  void Drop();
  // Changes what is held, under the lock.
  template <typename Change>
  void Hold(Change&& change) {
    const std::lock_guard lock(mutex_);
    change(callbacks_);
  }

  // The live objects that the client made, deleted by Reclaim when nobody else will.
  template <typename T>
  T* Make();
  void Forget(void* object);
  size_t Live();
  void Reclaim();

 private:
  struct Owned {
    void* object;
    std::function<void()> destroy;
  };
  std::mutex mutex_;
  Callbacks callbacks_;
  std::vector<Owned> live_;
};

std::string Describe(const kv::Blob& blob);
std::string Describe(const std::vector<kv::Entry>& entries);

// What the tests use as handles.
std::unique_ptr<kv::KvStore> MakeStore();
std::unique_ptr<kv::SingleKvStore> MakeSingleStore();
std::unique_ptr<kv::KvStoreSnapshot> MakeSnapshot();
std::unique_ptr<kv::KvStoreResultSet> MakeResultSet();

}  // namespace fake
