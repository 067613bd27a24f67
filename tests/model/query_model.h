// Documents and queries as the model understands them.
#pragma once

#include <functional>
#include <optional>
#include <string>

#include "model.h"

namespace KORA::DistributedKv::Model {

struct Document {
  std::optional<int> n;
  std::optional<std::string> s;
};

// A document that few others differ from, as the value of a record; and back.
std::string RandomDocument(Chance& chance);
Document ParseDocument(const std::string& value);

// A query's text, and what it answers.
struct QueryModel {
  std::string text;
  std::function<Rows(const StoreModel&)> answer;
};
QueryModel RandomQuery(Chance& chance);

}  // namespace KORA::DistributedKv::Model
