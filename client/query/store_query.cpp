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

Status Parse(const Store& store, const std::string& text, Query& query) {
  const Status status = ParseQuery(text, store.GetCatalog().GetSchema(), query);
  return status == Status::SUCCESS ? ResolveDevice(store, query) : status;
}

// Shows `visit` each row, until it answers a failure.
template <typename Visit>
Status VisitRows(Store& store, Query query, Visit visit) {
  return store.ReadAtOnce([&](const std::shared_ptr<const View>& view) {
    std::unique_ptr<Rows> rows;
    Status status = OpenRows(view, std::move(query), store.GetCatalog(), rows);
    for (; status == Status::SUCCESS && rows->Valid(); rows->Next()) status = visit(*rows);
    return status == Status::SUCCESS ? rows->Result() : status;
  });
}

}  // namespace

Status OpenQuery(Store& store, const std::string& text, std::unique_ptr<Rows>& rows) {
  Query query;
  std::unique_ptr<View> snapshot;
  Status status = Parse(store, text, query);
  if (status == Status::SUCCESS) status = store.NewSnapshot(snapshot);
  if (status != Status::SUCCESS) return status;
  return OpenRows(std::move(snapshot), std::move(query), store.GetCatalog(), rows);
}

Status GetEntriesWithQuery(Store& store, const std::string& text, std::vector<Entry>& entries) {
  Query query;
  std::vector<Entry> found;
  Status status = Parse(store, text, query);
  if (status != Status::SUCCESS) return status;
  status = VisitRows(store, std::move(query),
                     [&found](const Rows& rows) { return rows.Read(found.emplace_back()); });
  if (status == Status::SUCCESS) entries = std::move(found);
  return status;
}

Status GetCountWithQuery(Store& store, const std::string& text, int32_t& count) {
  Query query;
  Status status = Parse(store, text, query);
  if (status != Status::SUCCESS) return status;
  query.order.clear();  // an order changes no number
  int32_t counted = 0;
  status = VisitRows(store, std::move(query), [&counted](const Rows& /*rows*/) {
    return counted++ == std::numeric_limits<int32_t>::max() ? Status::ERROR : Status::SUCCESS;
  });
  if (status == Status::SUCCESS) count = counted;
  return status;
}

}  // namespace KORA::DistributedKv::Client
