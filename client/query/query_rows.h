// The entries that match a query, as rows.
#pragma once

#include <memory>
#include <string>

#include "contract/status.h"
#include "query/query.h"
#include "schema/catalog.h"
#include "store/rows.h"

namespace KORA::DistributedKv::Client {

// SUCCESS or DB_ERROR. `view` stays as it is as long as the rows live. They keep it and the query; the
// catalog outlives them. They read the matches one after the other where the engine has them in the query's
// order; else they hold the matches' keys.
Status OpenRows(std::shared_ptr<const View> view, Query query, const Catalog& catalog,
                std::unique_ptr<Rows>& rows);

}  // namespace KORA::DistributedKv::Client
