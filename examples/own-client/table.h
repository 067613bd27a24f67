// One store in memory: its records, its transaction and its subscriptions. All handles of a store share one
// table.
#pragma once

#include <algorithm>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <utility>
#include <vector>

#include "contract/blob.h"
#include "contract/kv_store_observer.h"
#include "contract/status.h"
#include "contract/types.h"
#include "guarded.h"
#include "notifier.h"
#include "records.h"

namespace OwnClient {

using KORA::DistributedKv::Key;
using KORA::DistributedKv::KvStoreObserver;
using KORA::DistributedKv::Options;
using KORA::DistributedKv::Status;
using KORA::DistributedKv::StoreId;
using KORA::DistributedKv::SubscribeType;
using KORA::DistributedKv::Value;

// A key with its new value, or with none where the record goes.
struct Change {
  Bytes key;
  std::optional<Bytes> value;
};

// Every operation takes the one lock, so any thread may call any of them; none throws.
class Table {
 public:
  Table(StoreId storeId, const Options& options) : storeId_(std::move(storeId)), options_(options) {}

  const StoreId& Id() const { return storeId_; }
  const Options& OpenedWith() const { return options_; }

  Status Get(const Key& key, Value& value) const;
  // The records of the moment, under a prefix or all, independent of later changes.
  Status Entries(const Key& prefix, std::vector<Entry>& entries) const;
  Status Copy(std::shared_ptr<const Records>& records) const;

  Status Put(const std::vector<Entry>& entries);
  Status Delete(const std::vector<Key>& keys);
  Status Clear();

  // A transaction belongs to the store: while it is open, all handles and threads read and write through it.
  Status StartTransaction();
  Status Commit();
  Status Rollback();

  Status Subscribe(SubscribeType type, const std::shared_ptr<KvStoreObserver>& observer, const void* owner);
  Status UnSubscribe(const std::shared_ptr<KvStoreObserver>& observer);

  // Counts handles in and out; what a handle began ends with it, and a transaction with the last of them.
  void HandleOpened();
  void HandleClosed(const void* owner);
  bool IsOpen() const;

 private:
  // What the touched keys held before, none where there was no record.
  using Before = std::map<Bytes, std::optional<Bytes>>;

  template <typename Body>
  Status Locked(Body body) const {
    return Guarded([&] {
      const std::lock_guard lock(mutex_);
      return body();
    });
  }
  Status EndTransaction(void (Table::*finish)(const Before&));
  // Answers whether there was one that `matches`.
  template <typename Matches>
  bool EndSubscriptions(Matches matches) {
    const std::lock_guard lock(mutex_);
    const auto end =
        std::remove_if(subscriptions_.begin(), subscriptions_.end(), [&](const auto& subscription) {
          if (!matches(*subscription)) return false;
          subscription->active = false;
          return true;
        });
    const bool found = end != subscriptions_.end();
    subscriptions_.erase(end, subscriptions_.end());
    return found;
  }

  // The rest is called under the lock.
  Status Apply(std::vector<Change> changes);
  void Restore(const Before& before);
  void Announce(const Before& before);

  const StoreId storeId_;
  const Options options_;
  mutable std::mutex mutex_;
  int handles_ = 0;
  Records records_;
  std::optional<Before> transaction_;
  std::vector<std::shared_ptr<Subscription>> subscriptions_;
};

// A store object's share in its table.
class TableHandle {
 public:
  explicit TableHandle(std::shared_ptr<Table> table) : table_(std::move(table)) { table_->HandleOpened(); }
  TableHandle(const TableHandle&) = delete;
  TableHandle& operator=(const TableHandle&) = delete;
  ~TableHandle() { table_->HandleClosed(this); }

  Table* operator->() const { return table_.get(); }
  Status Subscribe(SubscribeType type, const std::shared_ptr<KvStoreObserver>& observer) const {
    return table_->Subscribe(type, observer, this);
  }

 private:
  const std::shared_ptr<Table> table_;
};

}  // namespace OwnClient
