// Documents: values of type string whose text is a JSON object.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "document/json.h"
#include "document/scalar.h"
#include "engine/engine.h"

namespace KORA::DistributedKv::Client {

// The first byte of a stored value that is a text.
inline constexpr char kStringType = 1;

// The names from a document's top to one of its fields. Arrays have no names.
using FieldPath = std::vector<std::string>;

inline constexpr size_t kMaxPathNames = 16;

// A path as queries and schemas write it: "address.city" or ["address", "city"]. Nothing: it is neither, a
// name is empty, or there are too many.
std::optional<FieldPath> ParsePath(JsonElement element);
// For people.
std::string PathText(const FieldPath& path);

// The document in a stored value; nothing: the value is something else. Holds until the parser's next call.
std::optional<JsonObject> ParseDocument(Bytes value, JsonParser& parser);

// What stands at the path, null included; nothing: the field is not there.
std::optional<JsonElement> FindField(const JsonObject& document, const FieldPath& path);

// A field that is read from documents.
struct Field {
  FieldPath path;
  Literal fallback;  // what counts where the field is not there

  Scalar Of(const JsonObject& document) const {
    const std::optional<JsonElement> found = FindField(document, path);
    return found ? Scalar(*found) : fallback.View();
  }
};

}  // namespace KORA::DistributedKv::Client
