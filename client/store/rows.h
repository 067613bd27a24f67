// What a result set shows.
#pragma once

#include "contract/entry.h"
#include "contract/status.h"
#include "engine/engine.h"

namespace KORA::DistributedKv::Client {

// Entries in an order, neither of which changes any more. Begins at the first row. One thread at a time.
// Next, Prev, Place and Read are for a valid row; rows that were left at either end are reached again by
// Seek.
class Rows {
 public:
  Rows() = default;
  Rows(const Rows&) = delete;
  Rows& operator=(const Rows&) = delete;
  virtual ~Rows() = default;

  virtual bool Valid() const = 0;
  virtual void Next() = 0;
  virtual void Prev() = 0;
  // The few bytes by which Seek finds the row again; they hold until the next move.
  virtual Bytes Place() const = 0;
  virtual void Seek(Bytes place) = 0;
  // SUCCESS or DB_ERROR.
  virtual Status Read(Entry& entry) const = 0;
  // Why the row is not valid: SUCCESS beyond either end, else DB_ERROR.
  virtual Status Result() const = 0;
};

}  // namespace KORA::DistributedKv::Client
