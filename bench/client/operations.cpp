// What the operations cost.
#include <cstdio>
#include <vector>

#include "client/figures.h"

namespace Figures {

namespace {

using kv::Entry;
using kv::Value;

class SilentObserver : public kv::KvStoreObserver {
 public:
  void OnChange(const kv::ChangeNotification& /*notification*/,
                std::unique_ptr<kv::KvStoreSnapshot> /*snapshot*/) override {}
  void OnChange(const kv::ChangeNotification& /*notification*/) override {}
};

template <typename Operation>
void Measure(const char* name, int count, const Operation& operation, int items = 1) {
  std::printf("%-28s %9.0f ns\n", name, Nanoseconds(count, operation) / items);
}

}  // namespace

void PrintOperations(int records, bool encrypted) {
  kv::Options options;
  options.encrypt = encrypted;
  const auto opened = Open("store", options);
  kv::SingleKvStore& store = *opened;
  const Value value(std::vector<uint8_t>(100, 'v'));
  Value found;
  std::vector<Entry> entries;
  const auto scattered = [records](int i) {
    return static_cast<int>(i * 2654435761U % static_cast<unsigned>(records));
  };
  const auto put = [&](int i) { Check(store.Put(KeyOf(i), value)); };
  const auto get = [&](int i) { Check(store.Get(KeyOf(scattered(i)), found)); };
  const auto putBatch = [&](int batch) {
    std::vector<Entry> batched;
    batched.reserve(kBatch);
    for (int i = 0; i < kBatch; ++i) batched.emplace_back(KeyOf(records + batch * kBatch + i), value);
    Check(store.PutBatch(batched));
  };
  Measure("put", records, put);
  Measure("put again", records, [&](int i) { put(scattered(i)); });
  Measure("put, in batches of 1000", records / kBatch, putBatch, kBatch);
  Measure("get", records, get);
  Measure("get, absent", records, [&](int i) { store.Get(KeyOf(-1 - scattered(i)), found); });
  Measure(
      "scan", 1, [&](int) { Check(store.GetEntries(kv::Blob("key"), entries)); },
      2 * records / kBatch * kBatch);
  Check(store.StartTransaction());
  Measure("put in a transaction", records / 10, put);
  Measure("get in a transaction", records / 10, get);
  Measure(
      "commit, a put", 1, [&](int) { Check(store.Commit()); }, records / 10);
  Check(store.SubscribeKvStore(kv::SubscribeType::ALL, std::make_shared<SilentObserver>()));
  Measure("put, observed", records / 4, put);
  Measure("delete, observed", records / 4, [&](int i) { Check(store.Delete(KeyOf(i))); });
}

}  // namespace Figures
