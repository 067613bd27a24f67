// A store client that stores nothing: what is left of an operation is what the bridge costs. It has one
// single store, one cursor that never ends and one change to tell of.
#pragma once

#include <cstddef>
#include <vector>

#include "contract/change_notification.h"
#include "contract/entry.h"
#include "contract/kv_store_result_set.h"
#include "contract/single_kv_store.h"

namespace KORA::DistributedKv::NullClient {

// What every read finds: keys of 20 bytes, values of 100 bytes and their type.
inline constexpr size_t kEntryCount = 1000;

[[gnu::visibility("default")]] SingleKvStore& Store();
[[gnu::visibility("default")]] KvStoreResultSet& Cursor();
[[gnu::visibility("default")]] const std::vector<Entry>& Entries();
[[gnu::visibility("default")]] const ChangeNotification& Change();

// Tells the store's subscriber of the change, on the calling thread.
[[gnu::visibility("default")]] void Notify();

// Takes bytes without the contract's containers.
[[gnu::visibility("default")]] void Take(const void* key, size_t keySize, const void* value,
                                         size_t valueSize);

}  // namespace KORA::DistributedKv::NullClient
