// A cursor over the entries of a single store.
#pragma once

#include <cstdint>

#include "contract/entry.h"
#include "contract/status.h"

namespace KORA::DistributedKv {

// Positions run from 0 to GetCount() - 1; -1 stands before the first entry, GetCount() after the last. A move
// answers whether it arrived at an entry. One thread at a time. The declaration order is part of the binary
// contract.
class KvStoreResultSet {
 public:
  KvStoreResultSet() = default;
  KvStoreResultSet(const KvStoreResultSet&) = delete;
  KvStoreResultSet& operator=(const KvStoreResultSet&) = delete;
  virtual ~KvStoreResultSet() = default;

  virtual int32_t GetCount() const = 0;
  virtual int32_t GetPosition() const = 0;
  virtual bool MoveToFirst() = 0;
  virtual bool MoveToLast() = 0;
  virtual bool MoveToNext() = 0;
  virtual bool MoveToPrevious() = 0;
  virtual bool Move(int32_t offset) = 0;
  virtual bool MoveToPosition(int32_t position) = 0;
  virtual bool IsFirst() const = 0;
  virtual bool IsLast() const = 0;
  virtual bool IsBeforeFirst() const = 0;
  virtual bool IsAfterLast() const = 0;
  virtual Status GetEntry(Entry& entry) const = 0;
};

}  // namespace KORA::DistributedKv
