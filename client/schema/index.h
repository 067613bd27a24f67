// An index: an entry of the engine for each document, in the order of one or several of its fields.
//
// Keys. The entries have no values.
//   offset  size  field
//   0       1     'i'
//   1       2     number of the index in its store, big-endian
//   3       n     ordered form of each field (document/scalar.h), one behind the other
//   3 + n   m     the caller's key of the record
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "document/document.h"

namespace KORA::DistributedKv::Client {

class Index {
 public:
  Index(uint16_t number, std::vector<Field> fields) : number_(number), fields_(std::move(fields)) {}

  uint16_t Number() const { return number_; }
  const std::vector<Field>& Fields() const { return fields_; }

  // What all its keys begin with.
  static std::string SpaceOf(uint16_t number);
  std::string Space() const { return SpaceOf(number_); }

  std::string KeyFor(const JsonObject& document, Bytes key) const;
  // The caller's key at the end of an index's key; nothing: damaged.
  std::optional<Bytes> KeyOfRecordIn(Bytes indexKey) const;

 private:
  uint16_t number_;
  std::vector<Field> fields_;
};

}  // namespace KORA::DistributedKv::Client
