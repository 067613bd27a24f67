#include "document/json.h"

namespace KORA::DistributedKv::Client {

std::optional<JsonElement> JsonParser::Parse(std::string_view text) {
  // simdjson counts scalars as a level of their own.
  if (parser_.capacity() == 0) error_ = parser_.allocate(text.size(), kMaxJsonDepth + 1);
  if (parser_.capacity() == 0 && error_ != simdjson::SUCCESS) return std::nullopt;
  JsonElement root;
  error_ = parser_.parse(text.data(), text.size()).get(root);
  return error_ == simdjson::SUCCESS ? std::optional(root) : std::nullopt;
}

void JsonParser::Trim() {
  constexpr size_t kKept = 65'536;
  if (parser_.capacity() > kKept) parser_ = simdjson::dom::parser();
}

std::optional<JsonElement> FindMember(const JsonObject& object, std::string_view name) {
  std::optional<JsonElement> found;
  for (const simdjson::dom::key_value_pair& member : object) {
    if (member.key == name) found = member.value;
  }
  return found;
}

}  // namespace KORA::DistributedKv::Client
