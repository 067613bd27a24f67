// What a result set takes in memory, and what moving it costs.
#include <malloc.h>

#include <algorithm>
#include <cstdio>
#include <random>
#include <vector>

#include "client/figures.h"

namespace Figures {

namespace {

void Must(bool done) {
  Check(done ? kv::Status::SUCCESS : kv::Status::ERROR);
}

std::unique_ptr<kv::SingleKvStore> OpenFilled(int records) {
  auto store = Open("store");
  const kv::Value value(std::vector<uint8_t>(100, 'v'));
  for (int first = 0; first < records; first += kBatch) {
    std::vector<kv::Entry> batch;
    for (int i = first; i < std::min(first + kBatch, records); ++i) batch.emplace_back(KeyOf(i), value);
    Check(store->PutBatch(batch));
  }
  return store;
}

std::unique_ptr<kv::KvStoreResultSet> OpenResultSet(const kv::SingleKvStore& store) {
  std::unique_ptr<kv::KvStoreResultSet> opened;
  store.GetResultSet(kv::Blob("key:"),
                     [&](kv::Status status, std::unique_ptr<kv::KvStoreResultSet> resultSet) {
                       Check(status);
                       opened = std::move(resultSet);
                     });
  return opened;
}

size_t HeapInUse() {
  const struct mallinfo2 heap = mallinfo2();
  return heap.uordblks + heap.hblkhd;
}

}  // namespace

void PrintResultSets(int records) {
  const auto store = OpenFilled(records);
  OpenResultSet(*store).reset();  // what the engine's cache takes is not the result set's
  const size_t before = HeapInUse();
  std::unique_ptr<kv::KvStoreResultSet> resultSet;
  std::printf("open            %12.0f us\n",
              Microseconds(1, [&](int) { resultSet = OpenResultSet(*store); }));
  std::printf("heap, open      %12.2f MiB\n", static_cast<double>(HeapInUse() - before) / (1 << 20));

  kv::Entry entry;
  std::mt19937 random(1);
  const auto anywhere = [&] { return static_cast<int32_t>(random() % static_cast<unsigned>(records)); };
  const auto read = [&] { Check(resultSet->GetEntry(entry)); };
  std::printf("random position %12.2f us\n", Microseconds(100'000, [&](int) {
                Must(resultSet->MoveToPosition(anywhere()));
                read();
              }));
  std::printf("heap, after     %12.2f MiB\n", static_cast<double>(HeapInUse() - before) / (1 << 20));
  std::printf("walk there      %12.2f us\n", Microseconds(10, [&](int) {
                resultSet->MoveToFirst();
                for (int32_t left = anywhere(); left > 0; --left) Must(resultSet->MoveToNext());
                read();
              }));
  std::printf("walk and read   %12.2f us\n", Microseconds(10, [&](int) {
                resultSet->MoveToFirst();
                for (int32_t left = anywhere(); left > 0; --left) {
                  read();
                  Must(resultSet->MoveToNext());
                }
              }));
  resultSet->MoveToPosition(-1);
  std::printf("next            %12.2f us\n", Microseconds(records, [&](int) {
                Must(resultSet->MoveToNext());
                read();
              }));
  std::printf("previous        %12.2f us\n", Microseconds(records - 1, [&](int) {
                Must(resultSet->MoveToPrevious());
                read();
              }));
}

}  // namespace Figures
