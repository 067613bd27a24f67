// The one way to something that reads the engine for longer than one operation.
#pragma once

#include <memory>
#include <mutex>
#include <shared_mutex>
#include <type_traits>
#include <utility>

#include "common/guard.h"
#include "store/readers.h"
#include "store/store.h"

namespace KORA::DistributedKv::Client {

// Any thread may call. A const source serves several calls at once, another one call at a time. The source
// ends with the reader, or before it when the store closes.
template <typename Source>
class StoreReader final : public Reader {
 public:
  StoreReader(std::shared_ptr<Store> store, std::unique_ptr<Source> source)
      : store_(std::move(store)), source_(std::move(source)) {
    store_->OpenReaders().Add(*this);
  }
  StoreReader(const StoreReader&) = delete;
  StoreReader& operator=(const StoreReader&) = delete;
  // The store must not close its engine between the two steps.
  ~StoreReader() override {
    Detach();
    store_->OpenReaders().Remove(*this);
  }

  // The answer of `use`; DB_ERROR once the store has failed, STORE_NOT_OPEN once it is closed. Never throws.
  template <typename Use>
  Status Call(Use use) const noexcept {
    return Guard([&] {
      const OperationGate::Pass pass(store_->Gate());
      const Lock lock(mutex_);
      if (pass && source_) return use(*source_);
      return store_->HasFailed() ? Status::DB_ERROR : Status::STORE_NOT_OPEN;
    });
  }

  void Detach() override {
    const std::lock_guard<std::shared_mutex> lock(mutex_);
    source_.reset();
  }

 private:
  using Lock = std::conditional_t<std::is_const_v<Source>, std::shared_lock<std::shared_mutex>,
                                  std::unique_lock<std::shared_mutex>>;

  const std::shared_ptr<Store> store_;
  mutable std::shared_mutex mutex_;  // guards source_
  std::unique_ptr<Source> source_;
};

}  // namespace KORA::DistributedKv::Client
