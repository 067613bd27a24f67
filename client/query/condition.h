// Whether a document meets a condition.
#pragma once

#include <string_view>

#include "query/query.h"

namespace KORA::DistributedKv::Client {

bool Matches(const Condition& condition, const JsonObject& document);

// `%` stands for any text, `_` for one character, a backslash makes the character after it an ordinary one.
bool IsLike(std::string_view text, std::string_view pattern);

// The text that all texts begin with which are like the pattern.
std::string LiteralPrefix(std::string_view pattern);

}  // namespace KORA::DistributedKv::Client
