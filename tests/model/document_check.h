// A store of documents and its queries against their model.
#pragma once

#include <memory>
#include <string>

#include "checked.h"

namespace KORA::DistributedKv::Model {

class DocumentCheck : public Checked<SingleKvStore> {
 public:
  // With a schema or without, as `options` have it: kSchema or none.
  static constexpr const char* kSchema =
      R"({"fields":[{"field":"n","type":"int"},{"field":"s","type":"string"}],)"
      R"("indexes":["n",["s","n"]]})";

  DocumentCheck(DistributedKvDataManager& manager, const Options& options)
      : Checked(manager, options, "documents") {}

  // One random operation.
  void Step(Chance& chance);
  // Closes and opens the store, which keeps what was committed, and nothing else.
  void Reopen(Chance& chance);

 private:
  void PutDocument(Chance& chance);
  void Query(Chance& chance) const;
  void Walk(const std::string& query, const Rows& expected, Chance& chance) const;
};

}  // namespace KORA::DistributedKv::Model
