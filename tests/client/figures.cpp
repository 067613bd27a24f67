// client_figures [RECORDS [encrypted]]: what the operations of the contract cost on one thread.
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <random>
#include <string>

#include "contract/distributed_kv_data_manager.h"

using namespace KORA::DistributedKv;

namespace {

class SilentObserver : public KvStoreObserver {
 public:
  void OnChange(const ChangeNotification& /*notification*/,
                std::unique_ptr<KvStoreSnapshot> /*snapshot*/) override {}
  void OnChange(const ChangeNotification& /*notification*/) override {}
};

class Figures {
 public:
  Figures(SingleKvStore& store, int records) : store_(store), records_(records) {}

  void Print() {
    Measure("put", records_, [this](int i) { Check(store_.Put(KeyOf(i), value_)); });
    Measure("put again", records_, [this](int i) { Check(store_.Put(KeyOf(Scatter(i)), value_)); });
    Measure(
        "put, in batches of 1000", records_ / 1000,
        [this](int i) { Check(store_.PutBatch(BatchOf(records_ + i * 1000))); }, 1000);
    Measure("get", records_, [this](int i) { Check(store_.Get(KeyOf(Scatter(i)), found_)); });
    Measure("get, absent", records_, [this](int i) { store_.Get(KeyOf(-1 - Scatter(i)), found_); });
    Measure(
        "scan", 1, [this](int) { Check(store_.GetEntries(Blob("key"), entries_)); },
        2 * records_ / 1000 * 1000);
    store_.StartTransaction();
    Measure("put in a transaction", records_ / 10, [this](int i) { Check(store_.Put(KeyOf(i), value_)); });
    Measure("get in a transaction", records_ / 10,
            [this](int i) { Check(store_.Get(KeyOf(Scatter(i)), found_)); });
    Measure(
        "commit, a put", 1, [this](int) { Check(store_.Commit()); }, records_ / 10);
    store_.SubscribeKvStore(SubscribeType::ALL, std::make_shared<SilentObserver>());
    Measure("put, observed", records_ / 4, [this](int i) { Check(store_.Put(KeyOf(i), value_)); });
    Measure("delete, observed", records_ / 4, [this](int i) { Check(store_.Delete(KeyOf(i))); });
  }

 private:
  template <typename Operation>
  static void Measure(const char* name, int count, Operation operation, int items = 1) {
    const auto start = std::chrono::steady_clock::now();
    for (int i = 0; i < count; ++i) operation(i);
    const std::chrono::duration<double, std::nano> elapsed = std::chrono::steady_clock::now() - start;
    std::printf("%-28s %9.0f ns\n", name, elapsed.count() / count / items);
  }

  static void Check(Status status) {
    if (status == Status::SUCCESS) return;
    std::fprintf(stderr, "failed: %d\n", static_cast<int>(status));
    std::exit(1);
  }

  static Key KeyOf(int i) {
    char text[32];
    std::snprintf(text, sizeof text, "key:%016d", i);
    return Blob(text);
  }

  int Scatter(int i) const { return static_cast<int>(i * 2654435761U % static_cast<unsigned>(records_)); }

  std::vector<Entry> BatchOf(int first) const {
    std::vector<Entry> batch;
    for (int i = first; i < first + 1000; ++i) batch.emplace_back(KeyOf(i), value_);
    return batch;
  }

  SingleKvStore& store_;
  const int records_;
  const Value value_{std::vector<uint8_t>(100, 'v')};
  Value found_;
  std::vector<Entry> entries_;
};

}  // namespace

int main(int argc, char** argv) {
  std::string home = (std::filesystem::temp_directory_path() / "kora-figures-XXXXXX").string();
  setenv("KORA_DATA_HOME", mkdtemp(home.data()), 1);
  Options options;
  options.createIfMissing = true;
  options.encrypt = argc > 2;
  DistributedKvDataManager manager;
  manager.GetSingleKvStore(options, {"figures"}, {"store"},
                           [&](Status, std::unique_ptr<SingleKvStore> store) {
                             if (store != nullptr)
                               Figures(*store, argc > 1 ? std::atoi(argv[1]) : 200'000).Print();
                           });
  std::filesystem::remove_all(home);
}
