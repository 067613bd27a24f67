// What queries cost, with an index and by a scan.
#include <cstdio>
#include <vector>

#include "client/figures.h"

namespace Figures {

namespace {

constexpr const char* kFields =
    R"({"fields":[{"field":"name","type":"string"},{"field":"age","type":"int"},{"field":"address.city","type":"string"}])";

std::unique_ptr<kv::SingleKvStore> OpenWith(const std::string& storeId, const std::string& indexes) {
  kv::Options options;
  options.schema = kFields + indexes + "}";
  return Open(storeId, options);
}

// Microseconds of a put.
double Fill(kv::SingleKvStore& store, int documents) {
  return Microseconds(documents, [&store](int i) {
    const std::string number = std::to_string(i);
    const std::string text = "\1{\"name\":\"Person number " + number + "\",\"age\":" + number +
                             R"(,"address":{"city":"City )" + std::to_string(i % 1000) + "\"}}";
    Check(store.Put(kv::Blob(("person:" + number).c_str()),
                    kv::Blob(std::vector<uint8_t>(text.begin(), text.end()))));
  });
}

void Compare(const kv::SingleKvStore& indexed, const kv::SingleKvStore& plain, const std::string& query) {
  std::vector<kv::Entry> entries;
  const double with = Microseconds(100, [&](int) { Check(indexed.GetEntriesWithQuery(query, entries)); });
  const double without = Microseconds(3, [&](int) { Check(plain.GetEntriesWithQuery(query, entries)); });
  std::printf("%6zu entries %10.0f us %10.0f us %6.0f x  %s\n", entries.size(), with, without, without / with,
              query.c_str());
}

}  // namespace

void PrintQueries(int documents) {
  const auto indexed = OpenWith("indexed", R"(,"indexes":["age",["address.city","age"]])");
  const auto plain = OpenWith("plain", "");
  std::printf("put %.1f us with two indexes, %.1f us without\n", Fill(*indexed, documents),
              Fill(*plain, documents));
  for (const char* query :
       {R"({"where":{"field":"age","eq":4711}})", R"({"where":{"field":"age","ge":5000,"lt":5100}})",
        R"({"where":{"field":"address.city","eq":"City 7"}})",
        R"({"where":{"field":"age","in":[1,50000,99999]}})", R"({"order":"age","limit":10})"}) {
    Compare(*indexed, *plain, query);
  }
}

}  // namespace Figures
