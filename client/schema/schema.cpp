#include "schema/schema.h"

#include <algorithm>
#include <limits>

#include "common/log.h"

namespace KORA::DistributedKv::Client {

namespace {

Status Refuse(Status status, const char* reason, const std::string& name = {}) {
  __android_log_print(KORA_LOG_WARN, kLogTag, "refused: a value that does not fit the schema: %s%s%s", reason,
                      name.empty() ? "" : ": ", name.c_str());
  return status;
}

bool IsSame(const Literal& left, const Literal& right) {
  return Compare(left.View(), right.View()) == 0;
}

// Whether all values of one type are of the other.
bool Widens(FieldType from, FieldType to) {
  return from == to || (from < to && to <= FieldType::kDouble);
}

}  // namespace

ScalarKind KindOf(FieldType type) {
  if (type == FieldType::kString) return ScalarKind::kString;
  return type == FieldType::kBoolean ? ScalarKind::kBoolean : ScalarKind::kNumber;
}

bool IsOfType(JsonElement value, FieldType type) {
  switch (type) {
    case FieldType::kInt: {
      int64_t number = 0;
      return value.get_int64().get(number) == simdjson::SUCCESS &&
             number >= std::numeric_limits<int32_t>::min() && number <= std::numeric_limits<int32_t>::max();
    }
    case FieldType::kLong:
      return value.is_int64();
    case FieldType::kDouble:
      return value.is_number();
    case FieldType::kString:
      return value.is_string();
    case FieldType::kBoolean:
      break;
  }
  return value.is_bool();
}

const Schema::Node* Schema::Node::Member(std::string_view member) const {
  const auto found = std::find_if(members.begin(), members.end(),
                                  [member](const Node& node) { return node.name == member; });
  return found == members.end() ? nullptr : &*found;
}

const Schema::Node* Schema::FindNode(const FieldPath& path) const {
  const Node* node = &root_;
  for (const std::string& name : path) {
    node = node->Member(name);
    if (node == nullptr) return nullptr;
  }
  return node;
}

const SchemaField* Schema::Find(const FieldPath& path) const {
  const Node* const node = FindNode(path);
  return node == nullptr || !node->field ? nullptr : &fields_[*node->field];
}

bool Schema::Allows(const FieldPath& path) const {
  return !strict_ || FindNode(path) != nullptr;
}

// False: the path leads through a field, ends at an object, or is there already.
bool Schema::AddToTree(size_t field) {
  Node* node = &root_;
  for (const std::string& name : fields_[field].field.path) {
    if (node->field) return false;
    auto* next = const_cast<Node*>(node->Member(name));
    if (next == nullptr) {
      next = &node->members.emplace_back();
      next->name = name;
    }
    node = next;
  }
  if (node->field || !node->members.empty()) return false;
  node->field = field;
  return true;
}

Status Schema::Check(Bytes value) const {
  thread_local JsonParser parser;
  const std::optional<JsonObject> document = ParseDocument(value, parser);
  Status status = document ? CheckObject(*document, root_)
                           : Refuse(Status::INVALID_FORMAT, "it is no text with a JSON object");
  if (status == Status::SUCCESS) status = CheckMandatory(*document);
  parser.Trim();
  return status;
}

Status Schema::CheckObject(const JsonObject& object, const Node& node) const {
  for (const auto& [name, value] : object) {
    const Node* const member = node.Member(name);
    if (member == nullptr && strict_)
      return Refuse(Status::INVALID_VALUE_FIELDS, "it has an unknown field", std::string(name));
    if (member == nullptr || value.is_null()) continue;
    if (const Status status = CheckMember(value, *member); status != Status::SUCCESS) return status;
  }
  return Status::SUCCESS;
}

Status Schema::CheckMember(JsonElement value, const Node& node) const {
  if (!node.field) {
    JsonObject object;
    if (value.get_object().get(object) == simdjson::SUCCESS) return CheckObject(object, node);
    return Refuse(Status::INVALID_FIELD_TYPE, "a field is no object", node.name);
  }
  const SchemaField& field = fields_[*node.field];
  if (!IsOfType(value, field.type))
    return Refuse(Status::INVALID_FIELD_TYPE, "a field is of another type", PathText(field.field.path));
  if (field.indexed && Scalar(value).Text().size() > kMaxIndexedText)
    return Refuse(Status::CONSTRAIN_VIOLATION, "a text is too long for its index",
                  PathText(field.field.path));
  return Status::SUCCESS;
}

Status Schema::CheckMandatory(const JsonObject& document) const {
  for (const SchemaField& field : fields_) {
    if (field.mandatory && field.field.Of(document).Kind() == ScalarKind::kAbsent)
      return Refuse(Status::CONSTRAIN_VIOLATION, "a mandatory field is missing", PathText(field.field.path));
  }
  return Status::SUCCESS;
}

const char* Schema::DifferenceFrom(const Schema& older) const {
  if (strict_ && !older.strict_) return "it is strict";
  for (const SchemaField& old : older.fields_) {
    const SchemaField* const now = Find(old.field.path);
    if (now == nullptr) return "a field is gone";
    if (!Widens(old.type, now->type)) return "a field has another type";
    if (now->mandatory && !old.mandatory) return "a field became mandatory";
    if (!IsSame(old.field.fallback, now->field.fallback)) return "a field has another default";
  }
  for (const SchemaField& now : fields_) {
    const bool may_be_missing = !now.mandatory || now.field.fallback.View().Kind() != ScalarKind::kAbsent;
    if (!may_be_missing && older.Find(now.field.path) == nullptr) return "a new field is mandatory";
  }
  return nullptr;
}

}  // namespace KORA::DistributedKv::Client
