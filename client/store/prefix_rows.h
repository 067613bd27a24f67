// The records whose keys begin with a prefix, as rows.
#pragma once

#include <memory>
#include <string>

#include "store/rows.h"

namespace KORA::DistributedKv::Client {

// In the order of the key bytes.
class PrefixRows : public Rows {
 public:
  // Names the store in log lines.
  PrefixRows(std::string storeId, std::unique_ptr<View> snapshot, Bytes prefix);

  bool Valid() const override { return cursor_->Valid(); }
  void Next() override { cursor_->Next(); }
  void Prev() override { cursor_->Prev(); }
  Bytes Place() const override { return cursor_->Key(); }
  void Seek(Bytes place) override { cursor_->Seek(place); }
  Status Read(Entry& entry) const override;
  Status Result() const override { return cursor_->Result(); }

 private:
  const std::string storeId_;
  const std::unique_ptr<View> snapshot_;
  const std::unique_ptr<Cursor> cursor_;
};

}  // namespace KORA::DistributedKv::Client
