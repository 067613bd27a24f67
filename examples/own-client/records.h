// The records of a store, and the shapes in which the contract wants them.
#pragma once

#include <algorithm>
#include <cstdint>
#include <map>
#include <vector>

#include "contract/entry.h"

namespace OwnClient {

using Bytes = std::vector<uint8_t>;
using Records = std::map<Bytes, Bytes>;  // ordered by key bytes, as the contract asks
using KORA::DistributedKv::Blob;
using KORA::DistributedKv::Entry;

inline Entry MakeEntry(const Bytes& key, const Bytes& value) {
  return {Blob(key), Blob(value)};
}

// Calls `visit(key, value)` for each record whose key begins with `prefix`; an empty prefix takes all.
template <typename Visit>
void ForEachWithPrefix(const Records& records, const Bytes& prefix, Visit visit) {
  for (auto at = records.lower_bound(prefix); at != records.end(); ++at) {
    const Bytes& key = at->first;
    if (key.size() < prefix.size() || !std::equal(prefix.begin(), prefix.end(), key.begin())) return;
    visit(key, at->second);
  }
}

inline std::vector<Entry> EntriesWithPrefix(const Records& records, const Bytes& prefix) {
  std::vector<Entry> entries;
  ForEachWithPrefix(records, prefix,
                    [&](const Bytes& key, const Bytes& value) { entries.push_back(MakeEntry(key, value)); });
  return entries;
}

}  // namespace OwnClient
