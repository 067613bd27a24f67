// model_check [--operations N] [--seed S]
//
// Random operations through the contract, on a single-version store, a multi-version store and one of
// documents that are queried, each compared with what an ordered map makes of it. The seed, which is printed,
// settles all of them.
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <map>
#include <random>
#include <string>

#include "document_check.h"
#include "multi_check.h"
#include "single_check.h"

using namespace KORA::DistributedKv;

namespace {

constexpr uint64_t kReopenEvery = 10'000;  // operations, on average

template <typename Check>
void Step(Check& check, Model::Chance& chance) {
  if (chance.OneIn(kReopenEvery)) {
    check.Reopen(chance);
  } else {
    check.Step(chance);
  }
}

Options With(Options options, const char* schema) {
  options.schema = schema;
  return options;
}

void Run(uint64_t operations, uint32_t seed) {
  Model::Chance chance(seed);
  Options options;
  options.createIfMissing = true;
  options.encrypt = chance.OneIn(2);
  DistributedKvDataManager manager;
  Model::SingleCheck single(manager, options);
  Model::MultiCheck multi(manager, options);
  Model::DocumentCheck documents(manager,
                                 With(options, chance.OneIn(2) ? Model::DocumentCheck::kSchema : ""));
  uint64_t operation = 0;
  try {
    for (; operation < operations; ++operation) {
      const uint32_t kind = chance.Below(4);
      if (kind == 0) {
        Step(documents, chance);
      } else if (kind == 1) {
        Step(multi, chance);
      } else {
        Step(single, chance);
      }
    }
    single.Reopen(chance);
    multi.Reopen(chance);
    documents.Reopen(chance);
  } catch (const Model::Difference& difference) {
    throw Model::Difference("operation " + std::to_string(operation) + ": " + difference.what());
  }
}

uint64_t Argument(const std::map<std::string, std::string>& arguments, const char* name, uint64_t otherwise) {
  const auto found = arguments.find(name);
  return found == arguments.end() ? otherwise : std::stoull(found->second);
}

}  // namespace

int main(int argc, char** argv) {
  std::map<std::string, std::string> arguments;
  for (int i = 1; i + 1 < argc; i += 2) arguments[argv[i]] = argv[i + 1];
  const uint64_t operations = Argument(arguments, "--operations", 40'000);
  const auto seed = static_cast<uint32_t>(Argument(arguments, "--seed", std::random_device()()));
  std::printf("%llu operations, seed %u\n", static_cast<unsigned long long>(operations), seed);
  std::fflush(stdout);

  std::string home = (std::filesystem::temp_directory_path() / "kora-model-XXXXXX").string();
  setenv("KORA_DATA_HOME", mkdtemp(home.data()), 1);
  setenv("KORA_LOG_LEVEL", "fatal", 0);
  int result = 0;
  const auto start = std::chrono::steady_clock::now();
  try {
    Run(operations, seed);
    const std::chrono::duration<double> elapsed = std::chrono::steady_clock::now() - start;
    std::printf("no difference, %.1f s\n", elapsed.count());
  } catch (const std::exception& failure) {
    std::fprintf(stderr, "FAILED: seed %u: %s\n", seed, failure.what());
    result = 1;
  }
  std::filesystem::remove_all(home);
  return result;
}
