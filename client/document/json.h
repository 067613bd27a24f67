// JSON (RFC 8259) as the client reads it. simdjson does the work: values, queries and schemas may come from
// anyone, so the parser has to be fast, must not recurse and must be well tested against hostile input.
#pragma once

#include <simdjson.h>

#include <optional>
#include <string_view>

namespace KORA::DistributedKv::Client {

using JsonElement = simdjson::dom::element;
using JsonObject = simdjson::dom::object;
using JsonArray = simdjson::dom::array;

inline constexpr size_t kMaxJsonDepth = 64;  // objects and arrays inside each other

// What it answers holds until the next call. One thread at a time.
class JsonParser {
 public:
  // Nothing: malformed, too deep, not UTF-8, or with a number that neither 64 bits nor binary64 can hold.
  std::optional<JsonElement> Parse(std::string_view text);
  // Why the last call answered nothing.
  const char* Reason() const { return simdjson::error_message(error_); }
  // Gives memory back that only a long text needs; ends what Parse has answered.
  void Trim();

 private:
  simdjson::dom::parser parser_;
  simdjson::error_code error_ = simdjson::SUCCESS;
};

// The member of that name; of several the last, as most readers of JSON have it.
std::optional<JsonElement> FindMember(const JsonObject& object, std::string_view name);

}  // namespace KORA::DistributedKv::Client
