#include "query/query_parser.h"

#include <algorithm>
#include <array>
#include <utility>

#include "common/log.h"
#include "query/key_text.h"
#include "schema/schema.h"

namespace KORA::DistributedKv::Client {

namespace {

enum class Operand { kScalar, kList, kText, kNullTest };

struct OperatorName {
  std::string_view name;
  Operator comparison;
  Operand operand;
};

constexpr std::array kOperators = {
    OperatorName{"eq", Operator::kEqual, Operand::kScalar},
    OperatorName{"ne", Operator::kNotEqual, Operand::kScalar},
    OperatorName{"lt", Operator::kLess, Operand::kScalar},
    OperatorName{"le", Operator::kLessOrEqual, Operand::kScalar},
    OperatorName{"gt", Operator::kGreater, Operand::kScalar},
    OperatorName{"ge", Operator::kGreaterOrEqual, Operand::kScalar},
    OperatorName{"in", Operator::kIn, Operand::kList},
    OperatorName{"notIn", Operator::kNotIn, Operand::kList},
    OperatorName{"like", Operator::kLike, Operand::kText},
    OperatorName{"notLike", Operator::kNotLike, Operand::kText},
    OperatorName{"null", Operator::kIsNull, Operand::kNullTest},
};

const OperatorName* FindOperator(std::string_view name) {
  const auto* const found = std::find_if(kOperators.begin(), kOperators.end(),
                                         [name](const auto& one) { return one.name == name; });
  return found == kOperators.end() ? nullptr : found;
}

constexpr std::string_view kField = "field";

// Each member function answers whether all was well; if not, it has said why.
class QueryReader {
 public:
  explicit QueryReader(const Schema* schema) : schema_(schema) {}

  Status Read(std::string_view text, Query& query) {
    if (text.size() > kMaxQuerySize) return Malformed("the text is too long"), status_;
    JsonParser parser;
    const std::optional<JsonElement> root = parser.Parse(text);
    if (!root) return Malformed(parser.Reason()), status_;
    ReadQuery(*root, query);
    return status_;
  }

 private:
  bool Malformed(const char* reason) { return Fail(Status::INVALID_QUERY_FORMAT, reason); }

  bool Fail(Status status, const char* reason) {
    __android_log_print(KORA_LOG_WARN, kLogTag, "refused: a query: %s", reason);
    status_ = status;
    return false;
  }

  bool ReadQuery(JsonElement root, Query& query) {
    JsonObject members;
    if (root.get_object().get(members) != simdjson::SUCCESS) return Malformed("it is no object");
    for (const auto& [name, value] : members) {
      if (!ReadMember(name, value, query)) return false;
    }
    return true;
  }

  bool ReadMember(std::string_view name, JsonElement value, Query& query) {
    if (name == "prefix") return ReadPrefix(value, query.prefix);
    if (name == "device") return ReadText(value, query.device.emplace());
    if (name == "where") return ReadCondition(value, query.where.emplace());
    if (name == "order") return ReadOrders(value, query.order);
    if (name == "limit") return ReadCount(value, query.limit);
    if (name == "offset") return ReadCount(value, query.offset);
    return Malformed(("it has an unknown member: " + std::string(name)).c_str());
  }

  bool ReadText(JsonElement value, std::string& text) {
    std::string_view read;
    if (value.get_string().get(read) != simdjson::SUCCESS) return Malformed("a text was expected");
    text = read;
    return true;
  }

  bool ReadPrefix(JsonElement value, std::string& prefix) {
    std::string text;
    if (!ReadText(value, text)) return false;
    prefix = ToKeyBytes(text);
    return true;
  }

  bool ReadCount(JsonElement value, uint64_t& count) {
    if (value.get_uint64().get(count) == simdjson::SUCCESS) return true;
    return Malformed("limit and offset are whole numbers from 0");
  }

  bool ReadOrders(JsonElement value, std::vector<Order>& orders) {
    orders.clear();
    JsonArray fields;
    if (value.get_array().get(fields) != simdjson::SUCCESS) {
      return ReadOrder(value, orders.emplace_back());
    }
    for (const JsonElement field : fields) {
      if (orders.size() == kMaxOrderFields) return Malformed("it orders by too many fields");
      if (!ReadOrder(field, orders.emplace_back())) return false;
    }
    return true;
  }

  // "name" or {"field": "name", "desc": true}
  bool ReadOrder(JsonElement value, Order& order) {
    JsonObject members;
    if (value.get_object().get(members) != simdjson::SUCCESS) return ReadField(value, order.field);
    bool has_field = false;
    for (const auto& [name, member] : members) {
      if (name == kField) {
        if (!ReadField(member, order.field)) return false;
        has_field = true;
      } else if (name != "desc" || member.get_bool().get(order.descending) != simdjson::SUCCESS) {
        return Malformed("an order has a field and desc, which is true or false");
      }
    }
    return has_field || Malformed("an order has no field");
  }

  bool ReadField(JsonElement value, Field& field) {
    std::optional<FieldPath> path = ParsePath(value);
    if (!path) return Fail(Status::INVALID_QUERY_FIELD, "a field is no path of 1 to 16 names");
    field.path = std::move(*path);
    if (schema_ == nullptr) return true;
    if (!schema_->Allows(field.path)) return UnknownField(field.path, "the schema has no field");
    if (const SchemaField* const declared = schema_->Find(field.path))
      field.fallback = declared->field.fallback;
    return true;
  }

  bool UnknownField(const FieldPath& path, const char* reason) {
    return Fail(Status::INVALID_QUERY_FIELD, (std::string(reason) + " " + PathText(path)).c_str());
  }

  // The parser bounds the depth of groups.
  bool ReadCondition(JsonElement value, Condition& condition) {
    JsonObject members;
    if (value.get_object().get(members) != simdjson::SUCCESS) return Malformed("a condition is no object");
    if (const auto field = FindMember(members, kField)) return ReadTests(*field, members, condition);
    if (members.size() != 1) return Malformed("a condition has a field, or is one group: and, or");
    const simdjson::dom::key_value_pair group = *members.begin();
    if (group.key != "and" && group.key != "or") return Malformed("a condition has no field");
    condition.kind = group.key == "and" ? Condition::Kind::kAnd : Condition::Kind::kOr;
    JsonArray conditions;
    if (group.value.get_array().get(conditions) != simdjson::SUCCESS || conditions.size() == 0)
      return Malformed("a group is a list of at least one condition");
    for (const JsonElement member : conditions) {
      if (!ReadCondition(member, condition.members.emplace_back())) return false;
    }
    return true;
  }

  // A field with its operators, which must all hold.
  bool ReadTests(JsonElement fieldElement, const JsonObject& members, Condition& condition) {
    Field field;
    if (!ReadField(fieldElement, field)) return false;
    for (const auto& [name, operand] : members) {
      if (name == kField) continue;
      const OperatorName* const found = FindOperator(name);
      if (found == nullptr) return Malformed(("unknown operator: " + std::string(name)).c_str());
      if (++operators_ > kMaxQueryOperators) return Malformed("it has too many conditions");
      Condition& member = condition.members.emplace_back();
      member.kind = Condition::Kind::kTest;
      member.test.field = field;
      member.test.comparison = found->comparison;
      if (!ReadOperand(found->operand, operand, member.test) || !FitsSchema(member.test)) return false;
    }
    return !condition.members.empty() || Malformed("a condition has no operator");
  }

  // Whether the operands are of the kind that the schema gives the field.
  bool FitsSchema(const Test& test) {
    const SchemaField* const declared = schema_ == nullptr ? nullptr : schema_->Find(test.field.path);
    const bool fits =
        declared == nullptr ||
        std::all_of(test.literals.begin(), test.literals.end(), [declared](const Literal& literal) {
          return literal.View().Kind() == KindOf(declared->type);
        });
    return fits || UnknownField(test.field.path, "an operand is not of the type of");
  }

  bool ReadOperand(Operand kind, JsonElement operand, Test& test) {
    switch (kind) {
      case Operand::kScalar:
        return ReadScalar(operand, test);
      case Operand::kList:
        return ReadList(operand, test);
      case Operand::kText:
        return operand.is_string() ? ReadScalar(operand, test) : Malformed("a pattern is no text");
      case Operand::kNullTest:
        break;
    }
    bool is_null = false;
    if (operand.get_bool().get(is_null) != simdjson::SUCCESS) return Malformed("null is true or false");
    test.comparison = is_null ? Operator::kIsNull : Operator::kIsNotNull;
    return true;
  }

  bool ReadScalar(JsonElement operand, Test& test) {
    const Scalar scalar(operand);
    if (scalar.Kind() == ScalarKind::kAbsent) return Malformed("null is tested by the operator null");
    if (scalar.Kind() == ScalarKind::kComposite) return Malformed("no operator takes an object or this list");
    test.literals.emplace_back(scalar);
    return true;
  }

  bool ReadList(JsonElement operand, Test& test) {
    JsonArray values;
    if (operand.get_array().get(values) != simdjson::SUCCESS) return Malformed("in and notIn take a list");
    for (const JsonElement value : values) {
      if (++listed_ > kMaxQueryListSize) return Malformed("its lists are too long");
      if (!ReadScalar(value, test)) return false;
    }
    std::sort(test.literals.begin(), test.literals.end(), [](const Literal& left, const Literal& right) {
      return Compare(left.View(), right.View()) < 0;
    });
    const auto end = std::unique(
        test.literals.begin(), test.literals.end(),
        [](const Literal& left, const Literal& right) { return Compare(left.View(), right.View()) == 0; });
    test.literals.erase(end, test.literals.end());
    return true;
  }

  const Schema* const schema_;
  Status status_ = Status::SUCCESS;
  size_t operators_ = 0;
  size_t listed_ = 0;
};

}  // namespace

Status ParseQuery(std::string_view text, const Schema* schema, Query& query) {
  return QueryReader(schema).Read(text, query);
}

}  // namespace KORA::DistributedKv::Client
