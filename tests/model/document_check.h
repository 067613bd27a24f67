// A store of documents and its queries against their model.
#pragma once

#include <memory>
#include <string>

#include "contract/distributed_kv_data_manager.h"
#include "model.h"

namespace KORA::DistributedKv::Model {

class DocumentCheck {
 public:
  // With a schema or without, as `options` have it: kSchema or none.
  static constexpr const char* kSchema =
      R"({"fields":[{"field":"n","type":"int"},{"field":"s","type":"string"}],)"
      R"("indexes":["n",["s","n"]]})";

  DocumentCheck(DistributedKvDataManager& manager, const Options& options);

  // One random operation.
  void Step(Chance& chance);
  // Closes and opens the store, which keeps what was committed, and nothing else.
  void Reopen(Chance& chance);

 private:
  void Open();
  void PutDocument(Chance& chance);
  void Query(Chance& chance) const;
  void Walk(const std::string& query, const Rows& expected, Chance& chance) const;

  DistributedKvDataManager& manager_;
  const Options options_;
  std::unique_ptr<SingleKvStore> store_;
  StoreModel model_;
};

}  // namespace KORA::DistributedKv::Model
