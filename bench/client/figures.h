// What the figures of the store client share.
#pragma once

#include <chrono>
#include <memory>
#include <string>

#include "contract/distributed_kv_data_manager.h"

namespace Figures {

namespace kv = KORA::DistributedKv;

// Ends the program if an operation failed.
void Check(kv::Status status);

// A store that is made where there is none. `options` as they are otherwise.
std::unique_ptr<kv::SingleKvStore> Open(const std::string& storeId, kv::Options options = {});

// Nanoseconds of one of `count` calls, each with its number.
template <typename Operation>
double Nanoseconds(int count, const Operation& operation) {
  const auto start = std::chrono::steady_clock::now();
  for (int i = 0; i < count; ++i) operation(i);
  return std::chrono::duration<double, std::nano>(std::chrono::steady_clock::now() - start).count() / count;
}
template <typename Operation>
double Microseconds(int count, const Operation& operation) {
  return Nanoseconds(count, operation) / 1000;
}

inline constexpr int kBatch = 1000;
kv::Key KeyOf(int number);

void PrintOperations(int records, bool encrypted);
void PrintQueries(int documents);
void PrintResultSets(int records);

}  // namespace Figures
