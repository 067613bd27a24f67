#include "query/store_query.h"

#include <limits>
#include <utility>

#include "common/log.h"
#include "query/query_parser.h"
#include "query/query_rows.h"

namespace KORA::DistributedKv::Client {

namespace {

Status ResolveDevice(const Store& store, Query& query) {
  if (!query.device) return Status::SUCCESS;
  const Status status = store.FindDevice(*query.device, query.writer);
  if (!query.writer) query.limit = 0;  // an unknown device has written nothing
  return status;
}

Status Open(const Store& store, Query query, std::unique_ptr<Rows>& rows) {
  if (const Status status = ResolveDevice(store, query); status != Status::SUCCESS) return status;
  return OpenRows(store.NewSnapshot(), std::move(query), store.GetCatalog(), rows);
}

Status Parse(const Store& store, const std::string& text, Query& query) {
  return ParseQuery(text, store.GetCatalog().GetSchema(), query);
}

}  // namespace

Status OpenQuery(const Store& store, const std::string& text, std::unique_ptr<Rows>& rows) {
  Query query;
  const Status status = Parse(store, text, query);
  return status == Status::SUCCESS ? Open(store, std::move(query), rows) : status;
}

Status GetEntriesWithQuery(const Store& store, const std::string& text, std::vector<Entry>& entries) {
  std::unique_ptr<Rows> rows;
  Status status = OpenQuery(store, text, rows);
  std::vector<Entry> found;
  for (; status == Status::SUCCESS && rows->Valid(); rows->Next()) status = rows->Read(found.emplace_back());
  if (status == Status::SUCCESS) status = rows->Result();
  if (status == Status::SUCCESS) entries = std::move(found);
  return status;
}

Status GetCountWithQuery(const Store& store, const std::string& text, int32_t& count) {
  Query query;
  Status status = Parse(store, text, query);
  query.order.clear();  // an order changes no number
  std::unique_ptr<Rows> rows;
  if (status == Status::SUCCESS) status = Open(store, std::move(query), rows);
  int32_t counted = 0;
  for (; status == Status::SUCCESS && rows->Valid(); rows->Next()) {
    if (counted++ == std::numeric_limits<int32_t>::max()) return Status::ERROR;
  }
  if (status == Status::SUCCESS) status = rows->Result();
  if (status == Status::SUCCESS) count = counted;
  return status;
}

}  // namespace KORA::DistributedKv::Client
