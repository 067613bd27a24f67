#include "query/condition.h"

#include <algorithm>

namespace KORA::DistributedKv::Client {

namespace {

constexpr char kAnyText = '%';
constexpr char kAnyCharacter = '_';
constexpr char kEscape = '\\';

bool IsListed(const std::vector<Literal>& sorted, const Scalar& value) {
  return std::binary_search(sorted.begin(), sorted.end(), value, [](const auto& left, const auto& right) {
    const auto view = [](const auto& one) {
      if constexpr (std::is_same_v<std::decay_t<decltype(one)>, Literal>) {
        return one.View();
      } else {
        return one;
      }
    };
    return Compare(view(left), view(right)) < 0;
  });
}

// The bytes of the character that a text in UTF-8 begins with.
size_t CharacterSize(std::string_view text) {
  size_t size = 1;
  while (size < text.size() && (static_cast<unsigned char>(text[size]) & 0xc0) == 0x80) ++size;
  return size;
}

// Whether order has a meaning between the two; nothing is less than a value of another kind.
bool IsOrdered(const Scalar& value, const Scalar& other) {
  return value.Kind() == other.Kind();
}

// For a field that has a value.
bool Holds(const Test& test, const Scalar& value) {
  if (test.comparison == Operator::kIn) return IsListed(test.literals, value);
  if (test.comparison == Operator::kNotIn) return !IsListed(test.literals, value);
  if (test.comparison == Operator::kIsNotNull) return true;
  const Scalar operand = test.literals.empty() ? Scalar() : test.literals.front().View();
  const int order = Compare(value, operand);
  switch (test.comparison) {
    case Operator::kEqual:
      return order == 0;
    case Operator::kNotEqual:
      return order != 0;
    case Operator::kLess:
      return order < 0 && IsOrdered(value, operand);
    case Operator::kLessOrEqual:
      return order <= 0 && IsOrdered(value, operand);
    case Operator::kGreater:
      return order > 0 && IsOrdered(value, operand);
    case Operator::kGreaterOrEqual:
      return order >= 0 && IsOrdered(value, operand);
    case Operator::kLike:
      return value.Kind() == ScalarKind::kString && IsLike(value.Text(), operand.Text());
    case Operator::kNotLike:
      return value.Kind() == ScalarKind::kString && !IsLike(value.Text(), operand.Text());
    default:
      return false;
  }
}

bool Holds(const Test& test, const JsonObject& document) {
  const Scalar value = test.field.Of(document);
  const bool is_null = value.Kind() == ScalarKind::kAbsent;
  return is_null ? test.comparison == Operator::kIsNull : Holds(test, value);
}

// Takes the first unit off a pattern; whether the text begins with it, in which case that goes too.
bool TakeUnit(std::string_view& pattern, std::string_view& text) {
  const bool any = pattern.front() == kAnyCharacter;
  if (pattern.front() == kEscape && pattern.size() > 1) pattern.remove_prefix(1);
  const size_t wanted = CharacterSize(pattern);
  const size_t found = text.empty() ? 0 : CharacterSize(text);
  const bool taken = found > 0 && (any || pattern.substr(0, wanted) == text.substr(0, found));
  pattern.remove_prefix(wanted);
  if (taken) text.remove_prefix(found);
  return taken;
}

}  // namespace

bool Matches(const Condition& condition, const JsonObject& document) {
  const auto matches = [&document](const Condition& member) { return Matches(member, document); };
  switch (condition.kind) {
    case Condition::Kind::kAnd:
      return std::all_of(condition.members.begin(), condition.members.end(), matches);
    case Condition::Kind::kOr:
      return std::any_of(condition.members.begin(), condition.members.end(), matches);
    case Condition::Kind::kTest:
      break;
  }
  return Holds(condition.test, document);
}

// Only the last `%` has to be tried again, with one character more each time.
bool IsLike(std::string_view text, std::string_view pattern) {
  bool can_retry = false;
  std::string_view retry_pattern;
  std::string_view retry_text;
  while (!text.empty() || !pattern.empty()) {
    if (!pattern.empty() && pattern.front() == kAnyText) {
      pattern.remove_prefix(1);
      can_retry = true;
      retry_pattern = pattern;
      retry_text = text;
      continue;
    }
    if (!pattern.empty() && TakeUnit(pattern, text)) continue;
    if (!can_retry || retry_text.empty()) return false;
    retry_text.remove_prefix(CharacterSize(retry_text));
    pattern = retry_pattern;
    text = retry_text;
  }
  return true;
}

std::string LiteralPrefix(std::string_view pattern) {
  std::string prefix;
  while (!pattern.empty() && pattern.front() != kAnyText && pattern.front() != kAnyCharacter) {
    if (pattern.front() == kEscape && pattern.size() > 1) pattern.remove_prefix(1);
    prefix.push_back(pattern.front());
    pattern.remove_prefix(1);
  }
  return prefix;
}

}  // namespace KORA::DistributedKv::Client
