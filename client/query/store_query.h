// Queries on an open store, by their text.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "contract/entry.h"
#include "contract/status.h"
#include "store/rows.h"
#include "store/store.h"

namespace KORA::DistributedKv::Client {

// All see the open transaction. Errors: INVALID_QUERY_FORMAT, INVALID_QUERY_FIELD, DB_ERROR.

// The rows must end before the store closes.
Status OpenQuery(Store& store, const std::string& text, std::unique_ptr<Rows>& rows);
// `entries` is filled on success only.
Status GetEntriesWithQuery(Store& store, const std::string& text, std::vector<Entry>& entries);
// How many entries the query delivers.
Status GetCountWithQuery(Store& store, const std::string& text, int32_t& count);

}  // namespace KORA::DistributedKv::Client
