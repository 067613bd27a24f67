// Single values of documents: how they compare, and as bytes that compare alike.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "document/json.h"

namespace KORA::DistributedKv::Client {

// In the order in which values of different kinds are sorted.
enum class ScalarKind : uint8_t {
  kAbsent,  // the field is not there or null
  kBoolean,
  kNumber,
  kString,
  kComposite,  // an object or an array; they are all alike
};

// Any number that JSON has here, exactly: the nearest binary64, and what a 64-bit integer differs from it.
struct Number {
  double nearest = 0;
  int16_t rest = 0;  // -1024 to 1024
};

class Scalar {
 public:
  Scalar() = default;
  // Borrows the text of a string.
  explicit Scalar(JsonElement element);
  explicit Scalar(std::string_view text) : kind_(ScalarKind::kString), text_(text) {}

  ScalarKind Kind() const { return kind_; }
  // What only a scalar of that kind has.
  bool Truth() const { return truth_; }
  const Number& AsNumber() const { return number_; }
  std::string_view Text() const { return text_; }

 private:
  ScalarKind kind_ = ScalarKind::kAbsent;
  bool truth_ = false;
  Number number_;
  std::string_view text_;
};

// Less than, equal to or greater than 0: a total order. Strings compare by code point.
int Compare(const Scalar& left, const Scalar& right);

// A scalar that owns its text.
class Literal {
 public:
  Literal() = default;
  explicit Literal(const Scalar& scalar) : scalar_(scalar), text_(scalar.Text()) {}

  Scalar View() const {
    return scalar_.Kind() == ScalarKind::kString ? Scalar(std::string_view(text_)) : scalar_;
  }

 private:
  Scalar scalar_;
  std::string text_;
};

// Appends the ordered form of a scalar. Ordered forms compare byte by byte as their scalars do, also when
// more bytes follow: none is the beginning of another.
//
//   absent     01
//   boolean    02 false, 03 true
//   number     04, then 8 bytes: binary64 big-endian, with the sign bit inverted, or all bits if it is
//   negative;
//              then 2 bytes: the rest plus 32768, big-endian
//   string     05, then UTF-8 in which 00 is written 00 FF; then 00 00
//   composite  06
void AppendOrdered(const Scalar& scalar, std::string& out);

// Takes an ordered form off the front; false: there is none.
bool SkipOrdered(std::string_view& bytes);

// The beginning that the ordered forms of all strings have which begin with `text`.
void AppendOrderedPrefix(std::string_view text, std::string& out);

// The first and the last byte that ordered forms of this kind begin with.
struct OrderedTags {
  char first;
  char last;
};
OrderedTags TagsOf(ScalarKind kind);

}  // namespace KORA::DistributedKv::Client
