#include "schema/index.h"

#include "common/big_endian.h"
#include "store/record.h"

namespace KORA::DistributedKv::Client {

std::string Index::SpaceOf(uint16_t number) {
  std::string space(kIndexSpace);
  AppendBigEndian(number, space);
  return space;
}

std::string Index::KeyFor(const JsonObject& document, Bytes key) const {
  std::string index_key = Space();
  for (const Field& field : fields_) AppendOrdered(field.Of(document), index_key);
  return index_key.append(key);
}

std::optional<Bytes> Index::KeyOfRecordIn(Bytes indexKey) const {
  Bytes rest = indexKey.substr(Space().size());
  for (size_t i = 0; i < fields_.size(); ++i) {
    if (!SkipOrdered(rest)) return std::nullopt;
  }
  return rest;
}

}  // namespace KORA::DistributedKv::Client
