#include "document/scalar.h"

#include <cstring>

#include "common/big_endian.h"

namespace KORA::DistributedKv::Client {

namespace {

constexpr char kAbsentTag = 1;
constexpr char kFalseTag = 2;
constexpr char kTrueTag = 3;
constexpr char kNumberTag = 4;
constexpr char kStringTag = 5;
constexpr char kCompositeTag = 6;

__extension__ using WideInteger = __int128;

template <typename Integer>
Number ToNumber(Integer integer) {
  const auto nearest = static_cast<double>(integer);
  return {nearest,
          static_cast<int16_t>(static_cast<WideInteger>(integer) - static_cast<WideInteger>(nearest))};
}

template <typename Value>
int CompareValues(const Value& left, const Value& right) {
  return static_cast<int>(right < left) - static_cast<int>(left < right);
}

int CompareNumbers(const Number& left, const Number& right) {
  const int order = CompareValues(left.nearest, right.nearest);
  return order != 0 ? order : CompareValues(left.rest, right.rest);
}

uint64_t OrderedBits(double number) {
  constexpr uint64_t kSign = uint64_t{1} << 63;
  uint64_t bits = 0;
  std::memcpy(&bits, &number, sizeof bits);
  return (bits & kSign) != 0 ? ~bits : bits | kSign;
}

void AppendNumber(const Number& number, std::string& out) {
  constexpr int kRestBias = 32'768;
  out.push_back(kNumberTag);
  AppendBigEndian(OrderedBits(number.nearest), out);
  AppendBigEndian(static_cast<uint16_t>(number.rest + kRestBias), out);
}

}  // namespace

Scalar::Scalar(JsonElement element) {
  using simdjson::dom::element_type;
  switch (element.type()) {
    case element_type::NULL_VALUE:
      break;
    case element_type::BOOL:
      kind_ = ScalarKind::kBoolean;
      truth_ = element.get_bool().value_unsafe();
      break;
    case element_type::INT64:
      kind_ = ScalarKind::kNumber;
      number_ = ToNumber(element.get_int64().value_unsafe());
      break;
    case element_type::UINT64:
      kind_ = ScalarKind::kNumber;
      number_ = ToNumber(element.get_uint64().value_unsafe());
      break;
    case element_type::DOUBLE:
      kind_ = ScalarKind::kNumber;
      number_ = {element.get_double().value_unsafe() + 0.0, 0};  // -0 becomes 0
      break;
    case element_type::STRING:
      kind_ = ScalarKind::kString;
      text_ = element.get_string().value_unsafe();
      break;
    case element_type::ARRAY:
    case element_type::OBJECT:
      kind_ = ScalarKind::kComposite;
      break;
  }
}

int Compare(const Scalar& left, const Scalar& right) {
  if (left.Kind() != right.Kind()) return CompareValues(left.Kind(), right.Kind());
  switch (left.Kind()) {
    case ScalarKind::kBoolean:
      return CompareValues(left.Truth(), right.Truth());
    case ScalarKind::kNumber:
      return CompareNumbers(left.AsNumber(), right.AsNumber());
    case ScalarKind::kString:
      // The bytes of UTF-8 have the order of the code points.
      return left.Text().compare(right.Text());
    case ScalarKind::kAbsent:
    case ScalarKind::kComposite:
      break;
  }
  return 0;
}

void AppendOrderedPrefix(std::string_view text, std::string& out) {
  out.push_back(kStringTag);
  for (const char byte : text) {
    out.push_back(byte);
    if (byte == '\0') out.push_back('\xff');
  }
}

void AppendOrdered(const Scalar& scalar, std::string& out) {
  switch (scalar.Kind()) {
    case ScalarKind::kAbsent:
      out.push_back(kAbsentTag);
      break;
    case ScalarKind::kBoolean:
      out.push_back(scalar.Truth() ? kTrueTag : kFalseTag);
      break;
    case ScalarKind::kNumber:
      AppendNumber(scalar.AsNumber(), out);
      break;
    case ScalarKind::kString:
      AppendOrderedPrefix(scalar.Text(), out);
      out.append(2, '\0');
      break;
    case ScalarKind::kComposite:
      out.push_back(kCompositeTag);
      break;
  }
}

bool SkipOrdered(std::string_view& bytes) {
  constexpr size_t kNumberSize = sizeof(double) + sizeof(uint16_t);
  if (bytes.empty() || bytes.front() < kAbsentTag || bytes.front() > kCompositeTag) return false;
  const char tag = bytes.front();
  size_t size = 1;
  if (tag == kNumberTag) {
    size += kNumberSize;
  } else if (tag == kStringTag) {
    // A zero byte of the text is followed by FF, the end by another zero byte.
    const size_t end = bytes.find(std::string_view("\0\0", 2), 1);
    if (end == std::string_view::npos) return false;
    size = end + 2;
  }
  if (size > bytes.size()) return false;
  bytes.remove_prefix(size);
  return true;
}

OrderedTags TagsOf(ScalarKind kind) {
  switch (kind) {
    case ScalarKind::kBoolean:
      return {kFalseTag, kTrueTag};
    case ScalarKind::kNumber:
      return {kNumberTag, kNumberTag};
    case ScalarKind::kString:
      return {kStringTag, kStringTag};
    case ScalarKind::kComposite:
      return {kCompositeTag, kCompositeTag};
    case ScalarKind::kAbsent:
      break;
  }
  return {kAbsentTag, kAbsentTag};
}

}  // namespace KORA::DistributedKv::Client
