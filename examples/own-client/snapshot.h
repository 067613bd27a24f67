// A view of a multi-version store: a copy of its records, which costs as much memory as the store has at that
// moment.
#pragma once

#include <functional>
#include <memory>
#include <utility>
#include <vector>

#include "contract/kv_store_snapshot.h"
#include "guarded.h"
#include "records.h"

namespace OwnClient {

class Snapshot final : public KORA::DistributedKv::KvStoreSnapshot {
  using Key = KORA::DistributedKv::Key;
  using Status = KORA::DistributedKv::Status;

 public:
  explicit Snapshot(std::shared_ptr<const Records> records) : records_(std::move(records)) {}

  void GetEntries(const Key& prefixKey, std::function<void(Status, std::vector<Entry>&)> callback) override {
    std::vector<Entry> entries;
    const Status status = Guarded([&] {
      entries = EntriesWithPrefix(*records_, prefixKey.Data());
      return Status::SUCCESS;
    });
    callback(status, entries);
  }

  void GetKeys(const Key& prefixKey, std::function<void(Status, std::vector<Key>&)> callback) override {
    std::vector<Key> keys;
    const Status status = Guarded([&] {
      ForEachWithPrefix(*records_, prefixKey.Data(),
                        [&](const Bytes& key, const Bytes&) { keys.emplace_back(key); });
      return Status::SUCCESS;
    });
    callback(status, keys);
  }

  Status Get(const Key& key, KORA::DistributedKv::Value& value) override {
    return Guarded([&] {
      const auto found = records_->find(key.Data());
      if (found == records_->end()) return Status::KEY_NOT_FOUND;
      value = KORA::DistributedKv::Value(found->second);
      return Status::SUCCESS;
    });
  }

 private:
  const std::shared_ptr<const Records> records_;
};

}  // namespace OwnClient
