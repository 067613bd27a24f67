// How a query finds its entries: by which keys of the engine, and whether these come in its order.
#pragma once

#include <string>
#include <vector>

#include "query/query.h"
#include "schema/index.h"

namespace KORA::DistributedKv::Client {

// Keys of the engine, `to` not included.
struct KeyRange {
  std::string from;
  std::string to;
};

struct Plan {
  const Index* index = nullptr;  // null: the records themselves
  std::vector<KeyRange> ranges;
  bool ordered = false;  // whether there is one range, which has the order that the query wants
  bool exact = false;    // whether all that the ranges hold meets the query's condition
};

// The ranges hold all entries that match, and maybe others. Of several indexes it takes the one that narrows
// more.
Plan MakePlan(const Query& query, const std::vector<Index>& indexes);

}  // namespace KORA::DistributedKv::Client
