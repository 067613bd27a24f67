// Text of lines "name=value"; blanks around both, empty lines and lines that begin with '#' do not count.
#pragma once

#include <functional>
#include <map>
#include <string>
#include <string_view>

namespace KORA::DistributedKv::Client {

using Properties = std::map<std::string, std::string, std::less<>>;

// Adds what the text says to `properties`. Returns 0, or the number of the first line (from 1) that is
// neither.
int ParseProperties(std::string_view text, Properties& properties);

}  // namespace KORA::DistributedKv::Client
