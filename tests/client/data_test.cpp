#include <algorithm>
#include <random>

#include "support.h"

namespace KORA::DistributedKv {
namespace {

constexpr size_t kMaxKey = 1024;
constexpr size_t kMaxValue = 4 << 20;
constexpr size_t kMaxBatch = 64 << 20;

class Data : public ClientTest {};

TEST_F(Data, PutGetDelete) {
  const auto store = Open();
  EXPECT_EQ(Get(*store, "k"), kAbsent);
  EXPECT_EQ(store->Delete(B("k")), Status::SUCCESS);
  EXPECT_EQ(Put(*store, "k", "1"), Status::SUCCESS);
  EXPECT_EQ(Put(*store, "k", "22"), Status::SUCCESS);
  EXPECT_EQ(Get(*store, "k"), "22");
  EXPECT_EQ(store->Delete(B("k")), Status::SUCCESS);
  EXPECT_EQ(Get(*store, "k"), kAbsent);
}

TEST_F(Data, AnyBytes) {
  const auto store = Open();
  std::string all;
  for (int byte = 0; byte < 256; ++byte) all += static_cast<char>(byte);
  for (const std::string& key : {std::string(1, '\0'), std::string(3, '\xff'), all}) {
    EXPECT_EQ(Put(*store, key, key + all), Status::SUCCESS);
    EXPECT_EQ(Get(*store, key), key + all);
  }
}

TEST_F(Data, EntriesByPrefixInOrderOfBytes) {
  const auto store = Open();
  const std::string high("\xff\xff", 2);
  Pairs all;
  for (const std::string& key :
       {std::string("\0", 1), std::string("a"), std::string("a\0", 2), std::string("aa"), std::string("ab"),
        std::string("b"), std::string("\x7f"), std::string("\x80"), std::string("\xff"), high, high + "x"}) {
    all.emplace_back(key, "value of " + key);
  }
  Pairs shuffled = all;
  std::shuffle(shuffled.begin(), shuffled.end(), std::mt19937(1));
  for (const auto& [key, value] : shuffled) Put(*store, key, value);

  EXPECT_EQ(List(*store), all);
  for (const std::string& prefix :
       {std::string("a"), std::string("\xff"), high, high + "x", std::string("c")}) {
    Pairs expected;
    std::copy_if(all.begin(), all.end(), std::back_inserter(expected),
                 [&](const auto& pair) { return pair.first.compare(0, prefix.size(), prefix) == 0; });
    EXPECT_EQ(List(*store, prefix), expected) << prefix;
  }
}

TEST_F(Data, SizesOfKeysAndValues) {
  const auto store = Open();
  const std::string key(kMaxKey, 'k');
  const std::string value(kMaxValue, 'v');
  EXPECT_EQ(Put(*store, key, value), Status::SUCCESS);
  EXPECT_EQ(Get(*store, key), value);

  const std::string invalid = "<27459585>";
  for (const std::string& bad : {std::string(), key + "k"}) {
    EXPECT_EQ(Put(*store, bad, "v"), Status::INVALID_ARGUMENT);
    EXPECT_EQ(Get(*store, bad), invalid);
    EXPECT_EQ(store->Delete(B(bad)), Status::INVALID_ARGUMENT);
    EXPECT_EQ(store->PutBatch({{B("good"), B("v")}, {B(bad), B("v")}}), Status::INVALID_ARGUMENT);
    EXPECT_EQ(store->DeleteBatch({B(key), B(bad)}), Status::INVALID_ARGUMENT);
  }
  for (const std::string& bad : {std::string(), value + "v"}) {
    EXPECT_EQ(Put(*store, "k", bad), Status::INVALID_ARGUMENT);
    EXPECT_EQ(store->PutBatch({{B("good"), B("v")}, {B("k"), B(bad)}}), Status::INVALID_ARGUMENT);
  }
  EXPECT_EQ(List(*store).size(), 1U);
}

TEST_F(Data, SizesOfBatchesAndTransactions) {
  const auto store = Open();
  // 16 entries of 4 MiB each, keys included, fill a batch to the byte.
  std::vector<Entry> entries;
  for (int i = 0; i < 16; ++i)
    entries.emplace_back(B({static_cast<char>('a' + i)}), B(std::string(kMaxValue - 1, 'v')));
  std::vector<Entry> tooLarge = entries;
  tooLarge.emplace_back(B("z"), B("v"));

  EXPECT_EQ(store->PutBatch(tooLarge), Status::INVALID_ARGUMENT);
  EXPECT_EQ(List(*store), Pairs());
  EXPECT_EQ(store->StartTransaction(), Status::SUCCESS);
  EXPECT_EQ(store->PutBatch(entries), Status::SUCCESS);
  EXPECT_EQ(Put(*store, "z", "v"), Status::INVALID_ARGUMENT);
  EXPECT_EQ(store->Commit(), Status::SUCCESS);
  EXPECT_EQ(List(*store).size(), entries.size());
  static_assert(kMaxBatch == 16 * kMaxValue);
}

TEST_F(Data, Batches) {
  const auto store = Open();
  EXPECT_EQ(store->PutBatch({}), Status::SUCCESS);
  EXPECT_EQ(store->DeleteBatch({}), Status::SUCCESS);
  EXPECT_EQ(store->PutBatch({{B("a"), B("1")}, {B("b"), B("2")}, {B("a"), B("3")}}), Status::SUCCESS);
  EXPECT_EQ(List(*store), (Pairs{{"a", "3"}, {"b", "2"}}));
  EXPECT_EQ(store->DeleteBatch({B("a"), B("absent"), B("a")}), Status::SUCCESS);
  EXPECT_EQ(List(*store), (Pairs{{"b", "2"}}));
}

TEST_F(Data, SurvivesClosingManyTimes) {
  Pairs expected;
  for (int round = 0; round < 5; ++round) {
    const auto store = Open();
    EXPECT_EQ(List(*store), expected);
    expected.emplace_back("k" + std::to_string(round), std::string(100'000, static_cast<char>('a' + round)));
    Put(*store, expected.back().first, expected.back().second);
  }
}

TEST(EntryRecord, Flatten) {
  std::vector<uint8_t> out = {9};
  EXPECT_TRUE(Entry(B("key"), B("v")).Flatten(out));
  EXPECT_EQ(out, (std::vector<uint8_t>{9, 0, 0, 0, 3, 'k', 'e', 'y', 0, 0, 0, 1, 'v'}));
}

}  // namespace
}  // namespace KORA::DistributedKv
