#include <atomic>
#include <thread>

#include "support.h"

namespace KORA::DistributedKv {
namespace {

class Transactions : public ClientTest {};

TEST_F(Transactions, OneAtATime) {
  const auto store = Open();
  const auto other = Open();
  EXPECT_EQ(store->Commit(), Status::ERROR);
  EXPECT_EQ(store->Rollback(), Status::ERROR);
  EXPECT_EQ(store->StartTransaction(), Status::SUCCESS);
  EXPECT_EQ(other->StartTransaction(), Status::ERROR);
  EXPECT_EQ(Put(*store, "k", "v"), Status::SUCCESS);
  EXPECT_EQ(other->Commit(), Status::SUCCESS);
  EXPECT_EQ(store->Commit(), Status::ERROR);
  EXPECT_EQ(Get(*store, "k"), "v");
}

TEST_F(Transactions, BelongToAllHandlesAndThreads) {
  const auto store = Open();
  const auto other = Open();
  store->StartTransaction();
  std::thread([&] {
    EXPECT_EQ(Put(*other, "from thread", "v"), Status::SUCCESS);
    EXPECT_EQ(Get(*other, "from thread"), "v");
  }).join();
  EXPECT_EQ(List(*store), (Pairs{{"from thread", "v"}}));
  store->Rollback();
  EXPECT_EQ(List(*other), Pairs());
}

TEST_F(Transactions, TheLastHandleRollsBack) {
  auto store = Open();
  auto other = Open();
  store->StartTransaction();
  Put(*store, "k", "v");
  store.reset();
  EXPECT_EQ(Get(*other, "k"), "v");
  other.reset();
  store = Open();
  EXPECT_EQ(List(*store), Pairs());
  EXPECT_EQ(store->StartTransaction(), Status::SUCCESS);
}

// Each transaction writes one number to all keys; readers must never see two numbers.
TEST_F(Transactions, AppearAtOnceToReaders) {
  const auto store = Open();
  const std::vector<std::string> keys = {"a", "b", "c", "d"};
  const auto putAll = [&](const std::string& value) {
    store->StartTransaction();
    store->PutBatch({{B("a"), B(value)}, {B("b"), B(value)}, {B("c"), B(value)}, {B("d"), B(value)}});
    store->Commit();
  };
  putAll("start");
  std::atomic<bool> done{false};
  std::vector<std::thread> readers;
  for (int i = 0; i < 2; ++i) {
    readers.emplace_back([&] {
      while (!done) {
        const Pairs seen = List(*store);
        ASSERT_EQ(seen.size(), keys.size());
        for (const auto& pair : seen) EXPECT_EQ(pair.second, seen.front().second);
        EXPECT_NE(Get(*store, "a"), kAbsent);
      }
    });
  }
  for (int i = 0; i < 300; ++i) putAll(std::to_string(i));
  done = true;
  for (std::thread& reader : readers) reader.join();
}

TEST_F(Transactions, ThreadsWriteOneStore) {
  const auto store = Open();
  constexpr int kThreads = 4;
  constexpr int kWrites = 500;
  OnThreads(kThreads, [&](int i) {
    for (int n = 0; n < kWrites; ++n) {
      const std::string key = std::to_string(i) + "/" + std::to_string(n);
      EXPECT_EQ(Put(*store, key, key), Status::SUCCESS);
      if (n % 50 == 0 && store->StartTransaction() == Status::SUCCESS) {
        EXPECT_EQ(store->Commit(), Status::SUCCESS);
      }
    }
  });
  EXPECT_EQ(List(*store).size(), static_cast<size_t>(kThreads * kWrites));
}

}  // namespace
}  // namespace KORA::DistributedKv
