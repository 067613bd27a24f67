#include "document/document.h"

#include <algorithm>

namespace KORA::DistributedKv::Client {

namespace {

FieldPath SplitPath(std::string_view text) {
  FieldPath path;
  for (;;) {
    const size_t dot = text.find('.');
    path.emplace_back(text.substr(0, dot));
    if (dot == std::string_view::npos) return path;
    text.remove_prefix(dot + 1);
  }
}

std::optional<FieldPath> ReadNames(const JsonArray& names) {
  FieldPath path;
  for (const JsonElement name : names) {
    std::string_view text;
    if (name.get_string().get(text) != simdjson::SUCCESS) return std::nullopt;
    path.emplace_back(text);
  }
  return path;
}

}  // namespace

std::optional<FieldPath> ParsePath(JsonElement element) {
  std::string_view text;
  JsonArray names;
  std::optional<FieldPath> path;
  if (element.get_string().get(text) == simdjson::SUCCESS) {
    path = SplitPath(text);
  } else if (element.get_array().get(names) == simdjson::SUCCESS) {
    path = ReadNames(names);
  }
  if (!path || path->empty() || path->size() > kMaxPathNames) return std::nullopt;
  const bool has_empty_name =
      std::any_of(path->begin(), path->end(), [](const std::string& name) { return name.empty(); });
  return has_empty_name ? std::nullopt : path;
}

std::string PathText(const FieldPath& path) {
  std::string text;
  for (const std::string& name : path) text.append(text.empty() ? "" : ".").append(name);
  return text;
}

std::optional<JsonObject> ParseDocument(Bytes value, JsonParser& parser) {
  if (value.empty() || value.front() != kStringType) return std::nullopt;
  const std::optional<JsonElement> root = parser.Parse(value.substr(1));
  JsonObject document;
  if (!root || root->get_object().get(document) != simdjson::SUCCESS) return std::nullopt;
  return document;
}

std::optional<JsonElement> FindField(const JsonObject& document, const FieldPath& path) {
  JsonObject object = document;
  for (size_t i = 0;; ++i) {
    const std::optional<JsonElement> member = FindMember(object, path[i]);
    if (!member || i + 1 == path.size()) return member;
    if (member->get_object().get(object) != simdjson::SUCCESS) return std::nullopt;
  }
}

}  // namespace KORA::DistributedKv::Client
