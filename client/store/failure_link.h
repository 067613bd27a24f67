// Leads from an engine that fails to its store, which is made after the engine.
#pragma once

#include <memory>
#include <mutex>

#include "cluster/service.h"
#include "common/guard.h"
#include "notify/death_notice.h"
#include "store/store.h"

namespace KORA::DistributedKv::Client {

// Any thread may call.
class FailureLink {
 public:
  // The engine has failed for good: its store turns all away, and the death recipients hear of it. Called on
  // threads of the engine, which nothing may be thrown at.
  void Report() noexcept {
    Guard([this] {
      const std::lock_guard<std::mutex> lock(mutex_);
      failed_ = true;
      if (const std::shared_ptr<Store> store = store_.lock()) Pass(*store);
    });
  }

  void Connect(const std::shared_ptr<Store>& store) {
    const std::lock_guard<std::mutex> lock(mutex_);
    store_ = store;
    if (failed_) Pass(*store);
  }

 private:
  static void Pass(Store& store) {
    store.Fail();
    if (Cluster::Service* cluster = Cluster::Service::Running()) cluster->DropFailed();
    DeathNotice::Instance().Announce();
  }

  std::mutex mutex_;
  std::weak_ptr<Store> store_;
  bool failed_ = false;
};

}  // namespace KORA::DistributedKv::Client
