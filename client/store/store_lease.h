// A handle's share of an open store.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <utility>

#include "common/guard.h"
#include "contract/types.h"
#include "store/store.h"

namespace KORA::DistributedKv::Client {

// The store stays open as long as a lease lives; what was subscribed through the lease ends with it.
class StoreLease {
 public:
  // `release` gives the share back, once.
  StoreLease(std::shared_ptr<Store> store, std::function<void()> release)
      : store_(std::move(store)), release_(std::move(release)) {}
  StoreLease(const StoreLease&) = delete;
  StoreLease& operator=(const StoreLease&) = delete;
  ~StoreLease() {
    Guard([this] {
      store_->Observers().DropOwned(this);
      release_();
    });
  }

  // The answer of `operation`; DB_ERROR once the engine has failed for good, STORE_NOT_OPEN once the process
  // is ending. Never throws.
  template <typename Operation>
  Status Call(Operation operation) const noexcept {
    return Guard([&] {
      const OperationGate::Pass pass(store_->Gate());
      if (pass) return operation(*store_);
      return store_->HasFailed() ? Status::DB_ERROR : Status::STORE_NOT_OPEN;
    });
  }

  // As Call, for an operation that reads or writes records: it counts against the store's rate.
  template <typename Operation>
  Status Access(Operation operation) const noexcept {
    return Call([&](Store& store) {
      return store.Rate().Take() ? operation(store) : Status::EXCEED_MAX_ACCESS_RATE;
    });
  }

  Status Subscribe(SubscribeType type, std::shared_ptr<KvStoreObserver> observer) const noexcept {
    return Call([&](Store& store) { return store.Observers().Subscribe(type, std::move(observer), this); });
  }

  StoreId Id() const noexcept {
    StoreId id;
    Guard([&] { id.storeId = store_->Id(); });
    return id;
  }

 private:
  const std::shared_ptr<Store> store_;
  const std::function<void()> release_;
};

}  // namespace KORA::DistributedKv::Client
