// client_result_set_figures [RECORDS]: what a result set takes in memory, and what moving it costs.
#include <malloc.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <random>
#include <string>

#include "contract/distributed_kv_data_manager.h"

using namespace KORA::DistributedKv;

namespace {

void Check(bool done) {
  if (done) return;
  std::fprintf(stderr, "failed\n");
  std::exit(1);
}

void Fill(SingleKvStore& store, int records) {
  constexpr int kBatch = 1000;
  const Value value(std::vector<uint8_t>(100, 'v'));
  for (int first = 0; first < records; first += kBatch) {
    std::vector<Entry> batch;
    for (int i = first; i < first + kBatch && i < records; ++i) {
      char text[32];
      std::snprintf(text, sizeof text, "key:%016d", i);
      batch.emplace_back(Blob(text), value);
    }
    Check(store.PutBatch(batch) == Status::SUCCESS);
  }
}

std::unique_ptr<KvStoreResultSet> Open(const SingleKvStore& store) {
  std::unique_ptr<KvStoreResultSet> opened;
  store.GetResultSet(Blob("key:"), [&](Status status, std::unique_ptr<KvStoreResultSet> resultSet) {
    Check(status == Status::SUCCESS);
    opened = std::move(resultSet);
  });
  return opened;
}

size_t HeapInUse() {
  const struct mallinfo2 heap = mallinfo2();
  return heap.uordblks + heap.hblkhd;
}

template <typename Operation>
double Microseconds(int count, Operation operation) {
  const auto start = std::chrono::steady_clock::now();
  for (int i = 0; i < count; ++i) operation();
  return std::chrono::duration<double, std::micro>(std::chrono::steady_clock::now() - start).count() / count;
}

void Print(SingleKvStore& store, int records) {
  Fill(store, records);
  Open(store).reset();  // what the engine's cache takes is not the result set's
  const size_t before = HeapInUse();
  std::unique_ptr<KvStoreResultSet> resultSet;
  std::printf("open            %12.0f us\n", Microseconds(1, [&] { resultSet = Open(store); }));
  std::printf("heap, open      %12.2f MiB\n", static_cast<double>(HeapInUse() - before) / (1 << 20));

  Entry entry;
  std::mt19937 random(1);
  const auto anywhere = [&] { return static_cast<int32_t>(random() % static_cast<unsigned>(records)); };
  const auto read = [&] { Check(resultSet->GetEntry(entry) == Status::SUCCESS); };
  std::printf("random position %12.2f us\n", Microseconds(100'000, [&] {
                Check(resultSet->MoveToPosition(anywhere()));
                read();
              }));
  std::printf("heap, after     %12.2f MiB\n", static_cast<double>(HeapInUse() - before) / (1 << 20));
  std::printf("walk there      %12.2f us\n", Microseconds(10, [&] {
                resultSet->MoveToFirst();
                for (int32_t left = anywhere(); left > 0; --left) Check(resultSet->MoveToNext());
                read();
              }));
  std::printf("walk and read   %12.2f us\n", Microseconds(10, [&] {
                resultSet->MoveToFirst();
                for (int32_t left = anywhere(); left > 0; --left) {
                  read();
                  Check(resultSet->MoveToNext());
                }
              }));
  resultSet->MoveToPosition(-1);
  std::printf("next            %12.2f us\n", Microseconds(records, [&] {
                Check(resultSet->MoveToNext());
                read();
              }));
  std::printf("previous        %12.2f us\n", Microseconds(records - 1, [&] {
                Check(resultSet->MoveToPrevious());
                read();
              }));
}

}  // namespace

int main(int argc, char** argv) {
  std::string home = (std::filesystem::temp_directory_path() / "kora-figures-XXXXXX").string();
  setenv("KORA_DATA_HOME", mkdtemp(home.data()), 1);
  Options options;
  options.createIfMissing = true;
  DistributedKvDataManager manager;
  manager.GetSingleKvStore(options, {"figures"}, {"store"},
                           [&](Status, std::unique_ptr<SingleKvStore> store) {
                             Check(store != nullptr);
                             Print(*store, argc > 1 ? std::atoi(argv[1]) : 1'000'000);
                           });
  std::filesystem::remove_all(home);
}
