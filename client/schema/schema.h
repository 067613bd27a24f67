// What the values of a store must be. The text form is described in docs/query.md.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "contract/status.h"
#include "document/document.h"

namespace KORA::DistributedKv::Client {

inline constexpr size_t kMaxSchemaSize = 65'536;  // bytes
inline constexpr size_t kMaxSchemaFields = 256;
inline constexpr size_t kMaxIndexes = 16;
inline constexpr size_t kMaxIndexFields = 4;
inline constexpr size_t kMaxIndexedText = 1024;  // bytes of a string in an indexed field

// In the order in which numbers widen.
enum class FieldType { kInt, kLong, kDouble, kString, kBoolean };

struct SchemaField {
  Field field;
  FieldType type = FieldType::kString;
  bool mandatory = false;
  bool indexed = false;
};

using IndexPaths = std::vector<FieldPath>;

// Does not change, so any thread may read it.
class Schema {
 public:
  // SUCCESS or INVALID_SCHEMA, with a line in the log.
  static Status Parse(std::string_view text, std::optional<Schema>& schema);

  // SUCCESS, or with a line in the log: INVALID_FORMAT for what is no document, INVALID_VALUE_FIELDS for a
  // field too much, INVALID_FIELD_TYPE, CONSTRAIN_VIOLATION for a mandatory field that is missing or an
  // indexed text that is too long.
  Status Check(Bytes value) const;

  // As it was given.
  const std::string& Text() const { return text_; }
  const std::vector<IndexPaths>& Indexes() const { return indexes_; }
  // Null: the schema does not say what is there.
  const SchemaField* Find(const FieldPath& path) const;
  // Whether documents may have something at the path.
  bool Allows(const FieldPath& path) const;

  // Why values that fit `older` may not fit this schema, or may mean something else; null: there is no
  // reason. Indexes do not matter.
  const char* DifferenceFrom(const Schema& older) const;

 private:
  friend class SchemaReader;

  // What documents have at one place: a field, or an object with more of them.
  struct Node {
    std::string name;
    std::vector<Node> members;
    std::optional<size_t> field;  // in fields_

    const Node* Member(std::string_view member) const;
  };

  const Node* FindNode(const FieldPath& path) const;
  bool AddToTree(size_t field);
  Status CheckObject(const JsonObject& object, const Node& node) const;
  Status CheckMember(JsonElement value, const Node& node) const;
  Status CheckMandatory(const JsonObject& document) const;

  std::string text_;
  bool strict_ = true;
  std::vector<SchemaField> fields_;
  std::vector<IndexPaths> indexes_;
  Node root_;
};

ScalarKind KindOf(FieldType type);

// Whether a JSON value, which is not null, is of a type.
bool IsOfType(JsonElement value, FieldType type);

}  // namespace KORA::DistributedKv::Client
