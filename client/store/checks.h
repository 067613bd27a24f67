// What a store takes. Anything beyond the limits is INVALID_ARGUMENT, with a line in the log.
#pragma once

#include <cstddef>
#include <vector>

#include "contract/blob.h"
#include "contract/entry.h"
#include "contract/status.h"

namespace KORA::DistributedKv::Client {

Status CheckKey(const Key& key);
Status CheckKeys(const std::vector<Key>& keys);
Status CheckEntry(const Key& key, const Value& value);
Status CheckEntries(const std::vector<Entry>& entries);
// `bytes`: of all keys and values of a batch or transaction.
Status CheckBatch(size_t bytes);

}  // namespace KORA::DistributedKv::Client
