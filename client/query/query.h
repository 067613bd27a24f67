// A query, as its text says it. The text form is described in docs/query.md.
#pragma once

#include <cstdint>
#include <limits>
#include <optional>
#include <string>
#include <vector>

#include "document/document.h"

namespace KORA::DistributedKv::Client {

enum class Operator {
  kEqual,
  kNotEqual,
  kLess,
  kLessOrEqual,
  kGreater,
  kGreaterOrEqual,
  kIn,
  kNotIn,
  kLike,
  kNotLike,
  kIsNull,
  kIsNotNull,
};

struct Test {
  Field field;
  Operator comparison = Operator::kEqual;
  std::vector<Literal>
      literals;  // one, but sorted ones, each once, for kIn and kNotIn, none for the null tests
};

// A test, or a group: of conditions that all hold, or of which at least one holds.
struct Condition {
  enum class Kind { kAnd, kOr, kTest };

  Kind kind = Kind::kAnd;
  std::vector<Condition> members;
  Test test;
};

struct Order {
  Field field;
  bool descending = false;
};

inline constexpr uint64_t kUnlimited = std::numeric_limits<uint64_t>::max();

struct Query {
  std::string prefix;                 // of the keys, in the encoding that keys have
  std::optional<std::string> device;  // only what this device wrote
  std::optional<uint32_t> writer;     // that device, by its number in the store
  std::optional<Condition> where;
  std::vector<Order> order;  // then by key
  uint64_t offset = 0;
  uint64_t limit = kUnlimited;
};

}  // namespace KORA::DistributedKv::Client
