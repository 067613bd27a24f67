// The schema of an open store and its indexes, as they are kept in the engine.
//
// About the store (store/record.h).
//   name      size  value
//   schema    n     the text of the schema
//   index/ss  1     state of the index with the number ss, 2 bytes: 0 while it is built, 1 when it is
//   complete index/ss  n     after the state, the paths of its fields: each name with its size, 2 bytes, in
//   front, and a
//                   size of 0 at the end of each path
// All integers are big-endian. An index is built, or removed, between two writes of its state: so what a
// crash leaves half done is begun anew at the next opening.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "contract/entry.h"
#include "contract/status.h"
#include "engine/engine.h"
#include "schema/index.h"
#include "schema/schema.h"

namespace KORA::DistributedKv::Client {

// Any thread may read it, once it is loaded.
class Catalog {
 public:
  // Reads what the store keeps, takes `wanted` over where that extends it, and completes the indexes. An
  // empty text wants nothing. SUCCESS, INVALID_SCHEMA, SCHEMA_MISMATCH; DB_ERROR, also where the
  // store has a schema of another version; RECOVER_FAILED: what the store keeps is damaged. The failures
  // leave a line in the log, and all but DB_ERROR and RECOVER_FAILED leave the store as it was.
  Status Load(Engine& engine, const std::string& wanted);

  // Whether a store that is open with this catalog may be opened once more: SUCCESS, INVALID_SCHEMA,
  // SCHEMA_MISMATCH.
  Status Accept(const std::string& wanted) const;

  // SUCCESS, or what Schema::Check answers for the first value that does not fit.
  Status Check(const Value& value) const;
  Status Check(const std::vector<Entry>& entries) const;

  // Null: values are free.
  const Schema* GetSchema() const { return schema_ ? &*schema_ : nullptr; }
  const std::vector<Index>& Indexes() const { return indexes_; }

 private:
  Status ReadSchema(const Engine& engine);
  Status Adopt(Engine& engine, Schema&& wanted);
  Status CompleteIndexes(Engine& engine);

  std::optional<Schema> schema_;
  std::vector<Index> indexes_;
};

}  // namespace KORA::DistributedKv::Client
