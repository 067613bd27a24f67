#include "query_model.h"

#include <algorithm>
#include <array>
#include <utility>

namespace KORA::DistributedKv::Model {

namespace {

constexpr char kTextType = 1;  // the first byte of a value that is a text

using Test = std::function<bool(const Document&)>;

struct Condition {
  std::string text;
  Test holds;
};

// Before, equal or after: less than, equal to or greater than 0.
using Comparison = std::function<int(const Document&, const Document&)>;

struct Order {
  std::string text;
  Comparison compare;
};

int RandomNumber(Chance& chance) {
  return chance.Between(-12, 12);
}

std::string RandomText(Chance& chance) {
  static const std::vector<std::string> kTexts = {"", "a", "ab", "b", "ba", "zz"};
  return kTexts[chance.Below(static_cast<uint32_t>(kTexts.size()))];
}

std::string Quoted(const std::string& text) {
  return "\"" + text + "\"";
}

// What is absent meets no comparison.
template <typename Operand>
Test Compare(std::optional<Operand> Document::*field, const std::string& comparison, const Operand& operand) {
  return [=](const Document& document) {
    const std::optional<Operand>& value = document.*field;
    if (!value) return false;
    if (comparison == "eq") return *value == operand;
    if (comparison == "ne") return *value != operand;
    if (comparison == "lt") return *value < operand;
    if (comparison == "le") return *value <= operand;
    if (comparison == "gt") return *value > operand;
    return *value >= operand;
  };
}

Condition RandomTest(Chance& chance) {
  static constexpr std::array kComparisons = {"eq", "ne", "lt", "le", "gt", "ge"};
  const std::string comparison = kComparisons[chance.Below(kComparisons.size())];
  switch (chance.Below(5)) {
    case 0: {
      const std::string text = RandomText(chance);
      return {R"({"field":"s",")" + comparison + "\":" + Quoted(text) + "}",
              Compare(&Document::s, comparison, text)};
    }
    case 1: {
      const std::string beginning = RandomText(chance);
      return {R"({"field":"s","like":)" + Quoted(beginning + "%") + "}",
              [beginning](const Document& document) {
                return document.s && document.s->compare(0, beginning.size(), beginning) == 0;
              }};
    }
    case 2: {
      const bool absent = chance.OneIn(2);
      return {std::string(R"({"field":"n","null":)") + (absent ? "true}" : "false}"),
              [absent](const Document& document) { return document.n.has_value() != absent; }};
    }
    default: {
      const int number = RandomNumber(chance);
      return {R"({"field":"n",")" + comparison + "\":" + std::to_string(number) + "}",
              Compare(&Document::n, comparison, number)};
    }
  }
}

Condition RandomCondition(Chance& chance) {
  if (!chance.OneIn(2)) return RandomTest(chance);
  const bool all = chance.OneIn(2);
  const Condition one = RandomTest(chance);
  const Condition other = RandomTest(chance);
  return {std::string(all ? R"({"and":[)" : R"({"or":[)") + one.text + "," + other.text + "]}",
          [=](const Document& document) {
            return all ? one.holds(document) && other.holds(document)
                       : one.holds(document) || other.holds(document);
          }};
}

// What is absent comes before all else.
template <typename Operand>
Comparison By(std::optional<Operand> Document::*field, bool descending) {
  return [=](const Document& one, const Document& other) {
    const int order = one.*field < other.*field ? -1 : one.*field == other.*field ? 0 : 1;
    return descending ? -order : order;
  };
}

Order RandomOrder(Chance& chance) {
  switch (chance.Below(4)) {
    case 0:
      return {R"("n")", By(&Document::n, false)};
    case 1:
      return {R"({"field":"n","desc":true})", By(&Document::n, true)};
    case 2: {
      const bool descending = chance.OneIn(2);
      return {std::string(R"(["s",{"field":"n","desc":)") + (descending ? "true}]" : "false}]"),
              [=](const Document& one, const Document& other) {
                const int order = By(&Document::s, false)(one, other);
                return order != 0 ? order : By(&Document::n, descending)(one, other);
              }};
    }
    default:
      return {"[]", [](const Document&, const Document&) { return 0; }};
  }
}

// Rows come by key, and keep that order where the query's own makes no difference.
Rows Answer(Rows rows, const Test& holds, const Comparison& compare, size_t offset, size_t limit) {
  rows.erase(std::remove_if(rows.begin(), rows.end(),
                            [&](const auto& row) { return !holds(ParseDocument(row.second)); }),
             rows.end());
  std::stable_sort(rows.begin(), rows.end(), [&](const auto& one, const auto& other) {
    return compare(ParseDocument(one.second), ParseDocument(other.second)) < 0;
  });
  rows.erase(rows.begin(), rows.begin() + static_cast<ptrdiff_t>(std::min(offset, rows.size())));
  rows.resize(std::min(limit, rows.size()));
  return rows;
}

}  // namespace

std::string RandomDocument(Chance& chance) {
  std::string members;
  if (!chance.OneIn(8)) members = R"("n":)" + std::to_string(RandomNumber(chance));
  if (!chance.OneIn(4)) members += (members.empty() ? "" : ",") + (R"("s":)" + Quoted(RandomText(chance)));
  return kTextType + ("{" + members + "}");
}

Document ParseDocument(const std::string& value) {
  Document document;
  if (const size_t n = value.find(R"("n":)"); n != std::string::npos)
    document.n = std::stoi(value.substr(n + 4));
  if (const size_t s = value.find(R"("s":)"); s != std::string::npos) {
    document.s = value.substr(s + 5, value.rfind('"') - s - 5);
  }
  return document;
}

QueryModel RandomQuery(Chance& chance) {
  static const std::vector<std::string> kPrefixes = {"", "", "", "a", "a/", "ab", "none"};
  const std::string prefix = kPrefixes[chance.Below(static_cast<uint32_t>(kPrefixes.size()))];
  const Condition where =
      chance.OneIn(8) ? Condition{"", [](const Document&) { return true; }} : RandomCondition(chance);
  const Order order = RandomOrder(chance);
  const size_t offset = chance.OneIn(3) ? chance.Below(20) : 0;
  const size_t limit = chance.OneIn(3) ? chance.Below(20) : 1000;
  std::string text = R"({"prefix":)" + Quoted(prefix);
  if (!where.text.empty()) text += R"(,"where":)" + where.text;
  text += R"(,"order":)" + order.text + R"(,"offset":)" + std::to_string(offset) + R"(,"limit":)" +
          std::to_string(limit) + "}";
  return {std::move(text), [=](const StoreModel& model) {
            return Answer(model.WithPrefix(prefix), where.holds, order.compare, offset, limit);
          }};
}

}  // namespace KORA::DistributedKv::Model
