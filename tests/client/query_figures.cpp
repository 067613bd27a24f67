// client_query_figures [DOCUMENTS]: what queries cost on one thread, with an index and by a scan.
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <string>

#include "contract/distributed_kv_data_manager.h"

using namespace KORA::DistributedKv;

namespace {

constexpr const char* kFields =
    R"({"fields":[{"field":"name","type":"string"},{"field":"age","type":"int"},{"field":"address.city","type":"string"}])";

struct Measured {
  double microseconds;
  int32_t count;
};

void Check(Status status) {
  if (status == Status::SUCCESS) return;
  std::fprintf(stderr, "failed: %d\n", static_cast<int>(status));
  std::exit(1);
}

std::unique_ptr<SingleKvStore> Open(DistributedKvDataManager& manager, const char* id, const char* indexes) {
  Options options;
  options.createIfMissing = true;
  options.schema = std::string(kFields) + indexes + "}";
  std::unique_ptr<SingleKvStore> opened;
  manager.GetSingleKvStore(options, {"figures"}, {id},
                           [&](Status status, std::unique_ptr<SingleKvStore> store) {
                             Check(status);
                             opened = std::move(store);
                           });
  return opened;
}

// Microseconds of a put.
double Fill(SingleKvStore& store, int documents) {
  const auto start = std::chrono::steady_clock::now();
  for (int i = 0; i < documents; ++i) {
    const std::string number = std::to_string(i);
    const std::string text = "\1{\"name\":\"Person number " + number + "\",\"age\":" + number +
                             R"(,"address":{"city":"City )" + std::to_string(i % 1000) + "\"}}";
    Check(
        store.Put(Blob(("person:" + number).c_str()), Blob(std::vector<uint8_t>(text.begin(), text.end()))));
  }
  const std::chrono::duration<double, std::micro> elapsed = std::chrono::steady_clock::now() - start;
  return elapsed.count() / documents;
}

Measured Run(const SingleKvStore& store, const std::string& query, int rounds) {
  std::vector<Entry> entries;
  const auto start = std::chrono::steady_clock::now();
  for (int i = 0; i < rounds; ++i) Check(store.GetEntriesWithQuery(query, entries));
  const std::chrono::duration<double, std::micro> elapsed = std::chrono::steady_clock::now() - start;
  return {elapsed.count() / rounds, static_cast<int32_t>(entries.size())};
}

void Compare(const SingleKvStore& indexed, const SingleKvStore& plain, const std::string& query) {
  const Measured with = Run(indexed, query, 100);
  const Measured without = Run(plain, query, 3);
  std::printf("%6d entries %10.0f us %10.0f us %6.0f x  %s\n", with.count, with.microseconds,
              without.microseconds, without.microseconds / with.microseconds, query.c_str());
}

}  // namespace

int main(int argc, char** argv) {
  const int documents = argc > 1 ? std::atoi(argv[1]) : 100'000;
  std::string home = (std::filesystem::temp_directory_path() / "kora-figures-XXXXXX").string();
  setenv("KORA_DATA_HOME", mkdtemp(home.data()), 1);
  {
    DistributedKvDataManager manager;
    const auto indexed = Open(manager, "indexed", R"(,"indexes":["age",["address.city","age"]])");
    const auto plain = Open(manager, "plain", "");
    std::printf("put %.1f us with two indexes, %.1f us without\n", Fill(*indexed, documents),
                Fill(*plain, documents));
    Compare(*indexed, *plain, R"({"where":{"field":"age","eq":4711}})");
    Compare(*indexed, *plain, R"({"where":{"field":"age","ge":5000,"lt":5100}})");
    Compare(*indexed, *plain, R"({"where":{"field":"address.city","eq":"City 7"}})");
    Compare(*indexed, *plain, R"({"where":{"field":"age","in":[1,50000,99999]}})");
    Compare(*indexed, *plain, R"({"order":"age","limit":10})");
  }
  std::filesystem::remove_all(home);
}
