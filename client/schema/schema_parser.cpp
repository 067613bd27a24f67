#include <algorithm>
#include <array>
#include <utility>

#include "common/log.h"
#include "schema/schema.h"

namespace KORA::DistributedKv::Client {

namespace {

constexpr std::array kTypes = {
    std::pair<std::string_view, FieldType>{"int", FieldType::kInt},
    std::pair<std::string_view, FieldType>{"long", FieldType::kLong},
    std::pair<std::string_view, FieldType>{"double", FieldType::kDouble},
    std::pair<std::string_view, FieldType>{"string", FieldType::kString},
    std::pair<std::string_view, FieldType>{"boolean", FieldType::kBoolean},
};

}  // namespace

// Each member function answers whether all was well; if not, it has said why.
class SchemaReader {
 public:
  explicit SchemaReader(Schema& schema) : schema_(schema) {}

  bool Read(std::string_view text) {
    if (text.size() > kMaxSchemaSize) return Fail("the text is too long");
    JsonParser parser;
    const std::optional<JsonElement> root = parser.Parse(text);
    if (!root) return Fail(parser.Reason());
    schema_.text_ = text;
    JsonObject members;
    if (root->get_object().get(members) != simdjson::SUCCESS) return Fail("it is no object");
    // Indexes name fields, wherever they stand.
    for (const auto& [name, value] : members) {
      if (name != "indexes" && !ReadMember(name, value)) return false;
    }
    const std::optional<JsonElement> indexes = FindMember(members, "indexes");
    if (schema_.fields_.empty()) return Fail("it has no fields");
    return !indexes || ReadIndexes(*indexes);
  }

 private:
  bool Fail(const char* reason, const std::string& name = {}) {
    __android_log_print(KORA_LOG_WARN, kLogTag, "refused: a schema: %s%s%s", reason, name.empty() ? "" : ": ",
                        name.c_str());
    return false;
  }

  bool ReadMember(std::string_view name, JsonElement value) {
    if (name == "mode") return ReadMode(value);
    if (name == "fields") return ReadFields(value);
    return Fail("it has an unknown member", std::string(name));
  }

  bool ReadMode(JsonElement value) {
    std::string_view mode;
    if (value.get_string().get(mode) != simdjson::SUCCESS || (mode != "strict" && mode != "loose"))
      return Fail("the mode is strict or loose");
    schema_.strict_ = mode == "strict";
    return true;
  }

  bool ReadFields(JsonElement value) {
    JsonArray fields;
    if (value.get_array().get(fields) != simdjson::SUCCESS) return Fail("fields is no list");
    for (const JsonElement field : fields) {
      if (schema_.fields_.size() == kMaxSchemaFields) return Fail("it has too many fields");
      if (!ReadField(field, schema_.fields_.emplace_back())) return false;
      if (!schema_.AddToTree(schema_.fields_.size() - 1))
        return Fail("a field stands twice or is also an object", PathText(schema_.fields_.back().field.path));
    }
    return true;
  }

  bool ReadField(JsonElement value, SchemaField& field) {
    JsonObject members;
    if (value.get_object().get(members) != simdjson::SUCCESS) return Fail("a field is no object");
    const std::optional<JsonElement> path = FindMember(members, "field");
    const std::optional<JsonElement> type = FindMember(members, "type");
    if (!path || !ReadPath(*path, field.field.path)) return Fail("a field has no path of 1 to 16 names");
    const std::string name = PathText(field.field.path);
    if (!type || !ReadType(*type, field.type))
      return Fail("a type is none of string, int, long, double, boolean", name);
    // The type comes first: a default is of that type.
    for (const auto& [member, content] : members) {
      if (member != "field" && member != "type" && !ReadRule(member, content, field))
        return Fail("a rule is unknown or has no value that fits", name);
    }
    return true;
  }

  static bool ReadPath(JsonElement value, FieldPath& path) {
    std::optional<FieldPath> read = ParsePath(value);
    if (read) path = std::move(*read);
    return read.has_value();
  }

  static bool ReadType(JsonElement value, FieldType& type) {
    std::string_view name;
    if (value.get_string().get(name) != simdjson::SUCCESS) return false;
    const auto* const found =
        std::find_if(kTypes.begin(), kTypes.end(), [name](const auto& one) { return one.first == name; });
    if (found == kTypes.end()) return false;
    type = found->second;
    return true;
  }

  static bool ReadRule(std::string_view name, JsonElement value, SchemaField& field) {
    if (name == "mandatory") return value.get_bool().get(field.mandatory) == simdjson::SUCCESS;
    if (name != "default" || !IsOfType(value, field.type)) return false;
    field.field.fallback = Literal(Scalar(value));
    return true;
  }

  bool ReadIndexes(JsonElement value) {
    JsonArray indexes;
    if (value.get_array().get(indexes) != simdjson::SUCCESS) return Fail("indexes is no list");
    for (const JsonElement index : indexes) {
      if (schema_.indexes_.size() == kMaxIndexes) return Fail("it has too many indexes");
      IndexPaths paths;
      if (!ReadIndex(index, paths)) return false;
      if (std::find(schema_.indexes_.begin(), schema_.indexes_.end(), paths) != schema_.indexes_.end())
        return Fail("an index stands twice");
      schema_.indexes_.push_back(std::move(paths));
    }
    return true;
  }

  // "age" or ["city", "age"]
  bool ReadIndex(JsonElement value, IndexPaths& paths) {
    JsonArray fields;
    if (value.get_array().get(fields) != simdjson::SUCCESS) return ReadIndexField(value, paths);
    for (const JsonElement field : fields) {
      if (!ReadIndexField(field, paths)) return false;
    }
    return (!paths.empty() && paths.size() <= kMaxIndexFields) || Fail("an index has 1 to 4 fields");
  }

  bool ReadIndexField(JsonElement value, IndexPaths& paths) {
    FieldPath& path = paths.emplace_back();
    const SchemaField* const field = ReadPath(value, path) ? schema_.Find(path) : nullptr;
    if (field == nullptr) return Fail("an index names what is no field");
    if (std::count(paths.begin(), paths.end(), path) > 1) return Fail("an index names a field twice");
    auto& indexed = schema_.fields_[static_cast<size_t>(field - schema_.fields_.data())];
    if (Scalar text = indexed.field.fallback.View(); text.Text().size() > kMaxIndexedText)
      return Fail("a default is too long for an index");
    indexed.indexed = true;
    return true;
  }

  Schema& schema_;
};

Status Schema::Parse(std::string_view text, std::optional<Schema>& schema) {
  Schema parsed;
  if (!SchemaReader(parsed).Read(text)) return Status::INVALID_SCHEMA;
  schema = std::move(parsed);
  return Status::SUCCESS;
}

}  // namespace KORA::DistributedKv::Client
