#include "support.h"

namespace KORA::DistributedKv {
namespace {

constexpr size_t kMaxKey = 1024;
constexpr size_t kMaxValue = 4 << 20;
constexpr size_t kMaxBatch = 64 << 20;

// What a store does with data in general is compared with a map in tests/model.
class Data : public ClientTest {};

TEST_F(Data, AnyBytes) {
  const auto store = Open();
  std::string all;
  for (int byte = 0; byte < 256; ++byte) all += static_cast<char>(byte);
  for (const std::string& key : {std::string(1, '\0'), std::string(3, '\xff'), all}) {
    EXPECT_EQ(Put(*store, key, key + all), Status::SUCCESS);
    EXPECT_EQ(Get(*store, key), key + all);
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

TEST(EntryRecord, Flatten) {
  std::vector<uint8_t> out = {9};
  EXPECT_TRUE(Entry(B("key"), B("v")).Flatten(out));
  EXPECT_EQ(out, (std::vector<uint8_t>{9, 0, 0, 0, 3, 'k', 'e', 'y', 0, 0, 0, 1, 'v'}));
}

}  // namespace
}  // namespace KORA::DistributedKv
