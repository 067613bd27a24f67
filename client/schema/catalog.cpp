#include "schema/catalog.h"

#include <algorithm>
#include <map>
#include <utility>

#include "common/big_endian.h"
#include "common/limits.h"
#include "common/log.h"
#include "document/json.h"
#include "store/record.h"
#include "store/stored_entry.h"

namespace KORA::DistributedKv::Client {

namespace {

constexpr Bytes kSchemaKey = "mschema";
constexpr Bytes kIndexStates = "mindex/";
constexpr char kBuilding = 0;
constexpr char kComplete = 1;

std::string StateKey(uint16_t number) {
  std::string key(kIndexStates);
  AppendBigEndian(number, key);
  return key;
}

std::string Describe(const IndexPaths& paths) {
  std::string description;
  for (const FieldPath& path : paths) {
    for (const std::string& name : path) {
      AppendBigEndian(static_cast<uint16_t>(name.size()), description);
      description += name;
    }
    AppendBigEndian(uint16_t{0}, description);
  }
  return description;
}

// An index as the engine keeps it.
struct KeptIndex {
  uint16_t number = 0;
  bool complete = false;
  std::string description;
};

Status ListIndexes(const Engine& engine, std::vector<KeptIndex>& indexes) {
  const std::unique_ptr<Cursor> cursor = engine.Entries(kIndexStates);
  for (; cursor->Valid(); cursor->Next()) {
    Bytes rest = cursor->Key().substr(kIndexStates.size());
    const Bytes value = cursor->Value();
    uint16_t number = 0;
    if (!TakeBigEndian(rest, number) || !rest.empty() || value.empty())
      return EntryIsDamaged("an index's state");
    indexes.push_back({number, value.front() == kComplete, std::string(value.substr(1))});
  }
  return cursor->Result();
}

template <typename Fill>
Status WriteAtOnce(Engine& engine, Fill fill) {
  const std::unique_ptr<Batch> batch = engine.NewBatch();
  fill(*batch);
  return batch->Commit();
}

Status WriteState(Engine& engine, uint16_t number, char state, const std::string& description) {
  return WriteAtOnce(engine,
                     [&](Batch& batch) { batch.Put(StateKey(number), Bytes(&state, 1), description); });
}

// Shows `visit` the key and the value of each record, until it answers a failure. The engine has checked what
// it reads, so a record that makes no sense is none of damage.
template <typename Visit>
Status VisitRecords(const Engine& engine, Visit visit) {
  const std::unique_ptr<Cursor> cursor = engine.Entries(kRecordSpace);
  for (; cursor->Valid(); cursor->Next()) {
    const std::optional<Record> record = ParseRecord(cursor->Value());
    const Status status =
        record ? visit(KeyOfRecord(cursor->Key()), record->value) : EntryIsOfAnotherVersion("a record");
    if (status != Status::SUCCESS) return status;
  }
  return cursor->Result();
}

Status FillIndex(Engine& engine, const Index& index) {
  constexpr size_t kBytesAtOnce = kMebibyte;
  std::unique_ptr<Batch> batch = engine.NewBatch();
  size_t bytes = 0;
  JsonParser parser;
  const Status status = VisitRecords(engine, [&](Bytes key, Bytes value) {
    const std::optional<JsonObject> document = ParseDocument(value, parser);
    if (!document) return Status::SUCCESS;
    const std::string index_key = index.KeyFor(*document, key);
    batch->Put(index_key, {}, {});
    bytes += index_key.size();
    if (bytes < kBytesAtOnce) return Status::SUCCESS;
    const Status written = batch->Commit();
    batch = engine.NewBatch();
    bytes = 0;
    return written;
  });
  return status == Status::SUCCESS ? batch->Commit() : status;
}

Status BuildIndex(Engine& engine, const Index& index, const std::string& description) {
  Status status = WriteState(engine, index.Number(), kBuilding, description);
  if (status == Status::SUCCESS) status = FillIndex(engine, index);
  if (status == Status::SUCCESS) status = WriteState(engine, index.Number(), kComplete, description);
  return status;
}

// An index must not count as complete while its entries go.
Status RemoveIndex(Engine& engine, uint16_t number) {
  Status status = WriteState(engine, number, kBuilding, {});
  if (status == Status::SUCCESS) status = engine.DeleteAll({Index::SpaceOf(number)});
  if (status != Status::SUCCESS) return status;
  return WriteAtOnce(engine, [number](Batch& batch) { batch.Delete(StateKey(number)); });
}

std::vector<Field> FieldsOf(const Schema& schema, const IndexPaths& paths) {
  std::vector<Field> fields;
  for (const FieldPath& path : paths) fields.push_back(schema.Find(path)->field);
  return fields;
}

uint16_t FreeNumber(const std::vector<Index>& indexes) {
  uint16_t number = 1;
  const auto is_taken = [&number](const Index& index) { return index.Number() == number; };
  while (std::any_of(indexes.begin(), indexes.end(), is_taken)) ++number;
  return number;
}

Status Mismatch(const char* reason) {
  __android_log_print(KORA_LOG_WARN, kLogTag, "refused: a schema that differs from the store's: %s", reason);
  return Status::SCHEMA_MISMATCH;
}

// Every schema is one, whatever its members mean.
bool IsObject(const std::string& text) {
  JsonParser parser;
  const std::optional<JsonElement> root = parser.Parse(text);
  return root && root->is_object();
}

bool IsSame(const Schema& left, const Schema& right) {
  return left.DifferenceFrom(right) == nullptr && right.DifferenceFrom(left) == nullptr &&
         left.Indexes() == right.Indexes();
}

}  // namespace

Status Catalog::Load(Engine& engine, const std::string& wanted) {
  Status status = ReadSchema(engine);
  if (status == Status::SUCCESS && !wanted.empty()) {
    std::optional<Schema> parsed;
    status = Schema::Parse(wanted, parsed);
    if (status == Status::SUCCESS) status = Adopt(engine, std::move(*parsed));
  }
  return status == Status::SUCCESS ? CompleteIndexes(engine) : status;
}

Status Catalog::Accept(const std::string& wanted) const {
  if (wanted.empty()) return Status::SUCCESS;
  std::optional<Schema> parsed;
  if (const Status status = Schema::Parse(wanted, parsed); status != Status::SUCCESS) return status;
  return schema_ && IsSame(*parsed, *schema_)
             ? Status::SUCCESS
             : Mismatch("a store takes another schema only when it is opened first");
}

Status Catalog::Check(const Value& value) const {
  return schema_ ? schema_->Check(ToBytes(value)) : Status::SUCCESS;
}

Status Catalog::Check(const std::vector<Entry>& entries) const {
  for (const Entry& entry : entries) {
    if (const Status status = Check(entry.value); status != Status::SUCCESS) return status;
  }
  return Status::SUCCESS;
}

Status Catalog::ReadSchema(const Engine& engine) {
  std::string text;
  const Status status = engine.Get(kSchemaKey, [&text](Bytes stored) { text = stored; });
  if (status == Status::KEY_NOT_FOUND) return Status::SUCCESS;
  if (status != Status::SUCCESS) return status;
  if (Schema::Parse(text, schema_) == Status::SUCCESS) return status;
  return IsObject(text) ? EntryIsOfAnotherVersion("the schema") : EntryIsDamaged("the schema");
}

// Values may break a rule that nothing has checked so far: so all of them are looked at.
Status Catalog::Adopt(Engine& engine, Schema&& wanted) {
  if (schema_ && IsSame(wanted, *schema_)) return Status::SUCCESS;
  if (const char* const difference = schema_ ? wanted.DifferenceFrom(*schema_) : nullptr)
    return Mismatch(difference);
  Status status = VisitRecords(engine, [&wanted](Bytes /*key*/, Bytes value) {
    return wanted.Check(value) == Status::SUCCESS ? Status::SUCCESS : Mismatch("a stored value does not fit");
  });
  if (status == Status::SUCCESS) {
    status = WriteAtOnce(engine, [&](Batch& batch) { batch.Put(kSchemaKey, wanted.Text(), {}); });
  }
  if (status == Status::SUCCESS) schema_ = std::move(wanted);
  return status;
}

// A store that is only read goes without the indexes that a crash has left incomplete.
Status Catalog::CompleteIndexes(Engine& engine) {
  std::vector<KeptIndex> kept;
  if (const Status status = ListIndexes(engine, kept); status != Status::SUCCESS) return status;
  std::map<std::string, IndexPaths> missing;
  if (schema_) {
    for (const IndexPaths& paths : schema_->Indexes()) missing.emplace(Describe(paths), paths);
  }
  for (const KeptIndex& index : kept) {
    const auto found = missing.find(index.description);
    if (index.complete && found != missing.end()) {
      indexes_.emplace_back(index.number, FieldsOf(*schema_, found->second));
      missing.erase(found);
    } else if (!engine.ReadOnly()) {
      if (const Status status = RemoveIndex(engine, index.number); status != Status::SUCCESS) return status;
    }
  }
  if (engine.ReadOnly()) return Status::SUCCESS;
  for (const auto& [description, paths] : missing) {
    indexes_.emplace_back(FreeNumber(indexes_), FieldsOf(*schema_, paths));
    const Status status = BuildIndex(engine, indexes_.back(), description);
    if (status != Status::SUCCESS) return status;
  }
  return Status::SUCCESS;
}

}  // namespace KORA::DistributedKv::Client
