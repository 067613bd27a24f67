// A read-only view of a multi-version store.
#pragma once

#include <functional>
#include <vector>

#include "contract/blob.h"
#include "contract/entry.h"
#include "contract/status.h"

namespace KORA::DistributedKv {

// A callback runs exactly once, on the calling thread, before the operation returns. Several threads may read
// at once. The declaration order is part of the binary contract; a reserved place keeps the position of an
// operation that the bridge never calls.
class KvStoreSnapshot {
 public:
  KvStoreSnapshot() = default;
  KvStoreSnapshot(const KvStoreSnapshot&) = delete;
  KvStoreSnapshot& operator=(const KvStoreSnapshot&) = delete;
  virtual ~KvStoreSnapshot() = default;

  virtual void Reserved2() {}
  virtual void GetEntries(const Key& prefixKey,
                          std::function<void(Status, std::vector<Entry>&)> callback) = 0;
  virtual void Reserved4() {}
  virtual void GetKeys(const Key& prefixKey, std::function<void(Status, std::vector<Key>&)> callback) = 0;
  virtual Status Get(const Key& key, Value& value) = 0;
};

}  // namespace KORA::DistributedKv
