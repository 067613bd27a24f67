// Chance that can be repeated: the same seed gives the same run on every machine.
#pragma once

#include <cstdint>
#include <random>

namespace KORA::DistributedKv::Client::Sync {

class Random {
 public:
  explicit Random(uint64_t seed) : engine_(seed) {}

  uint64_t Below(uint64_t bound) { return engine_() % bound; }
  uint64_t Between(uint64_t least, uint64_t most) { return least + Below(most - least + 1); }
  bool Percent(uint64_t percent) { return Below(100) < percent; }

 private:
  std::mt19937_64 engine_;
};

}  // namespace KORA::DistributedKv::Client::Sync
