// A snapshot of a multi-version store.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "contract/kv_store_snapshot.h"
#include "store/store_reader.h"

namespace KORA::DistributedKv::Client {

// Answers DB_ERROR once the store has failed, STORE_NOT_OPEN once it is closed. What observers are given with
// one change are snapshots that share a reader.
class Snapshot : public KvStoreSnapshot {
 public:
  using ViewReader = StoreReader<const View>;

  explicit Snapshot(std::shared_ptr<const ViewReader> view, std::string storeId)
      : view_(std::move(view)), storeId_(std::move(storeId)) {}

  void GetEntries(const Key& prefixKey, std::function<void(Status, std::vector<Entry>&)> callback) override;
  void GetKeys(const Key& prefixKey, std::function<void(Status, std::vector<Key>&)> callback) override;
  Status Get(const Key& key, Value& value) override;

 private:
  template <typename Read>
  Status Call(Read read) const;

  const std::shared_ptr<const ViewReader> view_;
  const std::string storeId_;
};

}  // namespace KORA::DistributedKv::Client
