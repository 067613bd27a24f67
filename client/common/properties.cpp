#include "common/properties.h"

namespace KORA::DistributedKv::Client {

namespace {

std::string_view Trim(std::string_view text) {
  constexpr std::string_view kBlanks = " \t\r";
  const size_t first = text.find_first_not_of(kBlanks);
  if (first == std::string_view::npos) return {};
  return text.substr(first, text.find_last_not_of(kBlanks) - first + 1);
}

}  // namespace

int ParseProperties(std::string_view text, Properties& properties) {
  for (int number = 1; !text.empty(); ++number) {
    const size_t end = text.find('\n');
    const std::string_view line = Trim(text.substr(0, end));
    text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
    if (line.empty() || line.front() == '#') continue;

    const size_t sign = line.find('=');
    if (sign == std::string_view::npos) return number;
    properties[std::string(Trim(line.substr(0, sign)))] = Trim(line.substr(sign + 1));
  }
  return 0;
}

}  // namespace KORA::DistributedKv::Client
