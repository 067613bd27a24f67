// The entries that match a query, as rows.
#pragma once

#include <memory>
#include <string>

#include "contract/status.h"
#include "query/query.h"
#include "schema/catalog.h"
#include "store/rows.h"

namespace KORA::DistributedKv::Client {

// SUCCESS or DB_ERROR. The rows keep the snapshot and the query; the catalog outlives them. They read the
// matches one after the other where the engine has them in the query's order; else they hold the matches'
// keys.
Status OpenRows(std::unique_ptr<View> snapshot, Query query, const Catalog& catalog,
                std::unique_ptr<Rows>& rows);

}  // namespace KORA::DistributedKv::Client
