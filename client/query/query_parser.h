// Reads the text of a query.
#pragma once

#include <string_view>

#include "contract/status.h"
#include "query/query.h"

namespace KORA::DistributedKv::Client {

class Schema;

inline constexpr size_t kMaxQuerySize = 262'144;     // bytes
inline constexpr size_t kMaxQueryOperators = 500;    // in all conditions together
inline constexpr size_t kMaxQueryListSize = 10'000;  // values in all lists together
inline constexpr size_t kMaxOrderFields = 8;

// SUCCESS; INVALID_QUERY_FORMAT; INVALID_QUERY_FIELD for a path that is none or that `schema`, which may be
// null, does not allow. A failure leaves a line in the log.
Status ParseQuery(std::string_view text, const Schema* schema, Query& query);

}  // namespace KORA::DistributedKv::Client
