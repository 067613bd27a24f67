#include "simulate.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "world.h"

namespace KORA::DistributedKv::Client::Sync {

namespace {

// Whether the run with this seed was in order; what happened before is printed if not.
bool Simulate(uint64_t seed, const MakeReplica& makeReplica, size_t& excused) {
  World world(seed, makeReplica);
  const auto failure = world.Run();
  excused += world.Excused();
  if (!failure) return true;
  for (const std::string& event : world.Events()) std::printf("  %s\n", event.c_str());
  std::printf("seed %llu: %s\n", static_cast<unsigned long long>(seed), failure->c_str());
  return false;
}

uint64_t ToNumber(const char* text) {
  char* end = nullptr;
  const uint64_t number = std::strtoull(text, &end, 10);
  if (end == text || *end != '\0') std::exit(2);
  return number;
}

}  // namespace

int Simulate(int argc, char** argv, const MakeReplica& makeReplica) {
  uint64_t first = 1;
  uint64_t seeds = 100;
  for (int i = 1; i + 1 < argc; i += 2) {
    if (std::strcmp(argv[i], "--first") == 0) first = ToNumber(argv[i + 1]);
    if (std::strcmp(argv[i], "--seeds") == 0) seeds = ToNumber(argv[i + 1]);
  }
  uint64_t failed = 0;
  size_t excused = 0;
  for (uint64_t seed = first; seed < first + seeds; ++seed)
    failed += Simulate(seed, makeReplica, excused) ? 0 : 1;
  std::printf(
      "%llu seeds from %llu: %llu failed; %zu deletes gave way to writes that had not reached the hub\n",
      static_cast<unsigned long long>(seeds), static_cast<unsigned long long>(first),
      static_cast<unsigned long long>(failed), excused);
  return failed == 0 ? 0 : 1;
}

}  // namespace KORA::DistributedKv::Client::Sync
