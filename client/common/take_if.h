#pragma once

#include <algorithm>
#include <iterator>
#include <vector>

namespace KORA::DistributedKv::Client {

// Takes out what fits; both parts keep their order.
template <typename T, typename Predicate>
std::vector<T> TakeIf(std::vector<T>& items, Predicate fits) {
  const auto rest =
      std::stable_partition(items.begin(), items.end(), [&](const T& item) { return !fits(item); });
  std::vector<T> taken(std::make_move_iterator(rest), std::make_move_iterator(items.end()));
  items.erase(rest, items.end());
  return taken;
}

}  // namespace KORA::DistributedKv::Client
