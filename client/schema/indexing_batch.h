// Keeps indexes right while records are written.
#pragma once

#include <vector>

#include "engine/engine.h"
#include "schema/index.h"

namespace KORA::DistributedKv::Client {

// Passes the writes of records on to a batch, and adds those of the index entries that they change. It reads
// each record before it is written, the batch's earlier writes included.
class IndexingBatch : public Batch {
 public:
  IndexingBatch(IndexedBatch& batch, const std::vector<Index>& indexes) : batch_(batch), indexes_(indexes) {}

  void Put(Bytes key, Bytes head, Bytes body) override;
  void Delete(Bytes key) override;
  Status Commit() override { return batch_.Commit(); }

  // SUCCESS, or DB_ERROR when a record could not be read: then the batch must not be committed.
  Status Result() const { return result_; }

 private:
  std::vector<std::string> KeysOf(Bytes key, Bytes value);
  std::vector<std::string> KeysBefore(Bytes engineKey);

  IndexedBatch& batch_;
  const std::vector<Index>& indexes_;
  JsonParser parser_;
  Status result_ = Status::SUCCESS;
};

}  // namespace KORA::DistributedKv::Client
