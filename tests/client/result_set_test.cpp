#include <atomic>
#include <random>
#include <thread>

#include "engine/engine.h"
#include "store/prefix_rows.h"
#include "store/record.h"
#include "store/result_set.h"
#include "support.h"

namespace KORA::DistributedKv {
namespace {

// How they move, and what they show, is compared with a map in tests/model.
class ResultSets : public ClientTest {
 protected:
  static std::unique_ptr<KvStoreResultSet> Open(const SingleKvStore& store, const std::string& prefix = "",
                                                Status expected = Status::SUCCESS) {
    std::unique_ptr<KvStoreResultSet> opened;
    int calls = 0;
    store.GetResultSet(B(prefix), [&](Status status, std::unique_ptr<KvStoreResultSet> resultSet) {
      ++calls;
      EXPECT_EQ(status, expected);
      opened = std::move(resultSet);
    });
    EXPECT_EQ(calls, 1);
    EXPECT_EQ(opened != nullptr, expected == Status::SUCCESS);
    return opened;
  }

  // "key=value", or "<status>".
  static std::string At(const KvStoreResultSet& resultSet) {
    Entry entry;
    const Status status = resultSet.GetEntry(entry);
    return status == Status::SUCCESS ? entry.key.ToString() + "=" + entry.value.ToString() : ToText(status);
  }

  static void Fill(SingleKvStore& store, int count) {
    std::vector<Entry> entries;
    for (int i = 0; i < count; ++i)
      entries.emplace_back(B("k" + std::to_string(100'000 + i)), B(std::to_string(i)));
    ASSERT_EQ(store.PutBatch(entries), Status::SUCCESS);
  }
};

TEST_F(ResultSets, FindEveryPosition) {
  const auto store = ClientTest::Open();
  constexpr int kCount = 5000;
  Fill(*store, kCount);
  store->StartTransaction();
  for (int i = 0; i < kCount; i += 7) Put(*store, "k" + std::to_string(100'000 + i), "new");
  const Pairs expected = List(*store);
  const auto resultSet = Open(*store, "k");
  std::mt19937 random(1);
  for (int i = 0; i < 20'000; ++i) {
    // Mostly near the last one, as programs move.
    if (random() % 4 == 0) {
      resultSet->MoveToPosition(static_cast<int32_t>(random() % kCount));
    } else {
      resultSet->Move(static_cast<int32_t>(random() % 41) - 20);
    }
    const int32_t position = resultSet->GetPosition();
    if (position < 0 || position >= kCount) continue;
    const auto& [key, value] = expected[static_cast<size_t>(position)];
    ASSERT_EQ(At(*resultSet), key + "=" + value) << position;
  }
}

TEST_F(ResultSets, IndexStaysSmallAndRight) {
  Client::PlaceIndex index;
  constexpr int kRows = 1'000'000;
  const auto place = [](int64_t row) { return std::string(80, 'p') + std::to_string(row); };
  for (int row = 0; row < kRows; ++row) {
    index.Append(place(row));
    if (row == 9'999) {
      EXPECT_EQ(index.NearestTo(row), row);  // there is room for each yet
    }
  }
  int64_t widest = 0;
  for (int64_t row = 0; row < kRows; row += 17) {
    const int64_t nearest = index.NearestTo(row);
    widest = std::max(widest, row - nearest);
    ASSERT_LE(nearest, row);
    ASSERT_EQ(index.PlaceOf(nearest), place(nearest));
  }
  // A place takes some 94 bytes, so every 64th would exceed 1 MiB and every 256th use less than half of it.
  EXPECT_EQ(widest, 127);
}

TEST_F(ResultSets, OutliveTheirStore) {
  auto store = ClientTest::Open();
  Put(*store, "k", "v");
  auto resultSet = Open(*store);
  resultSet->MoveToFirst();
  auto other = ClientTest::Open();
  store.reset();
  EXPECT_EQ(At(*resultSet), "k=v");
  other.reset();
  EXPECT_EQ(At(*resultSet), "<27459588>");
  EXPECT_FALSE(resultSet->MoveToFirst() || resultSet->MoveToNext() || resultSet->Move(0) ||
               resultSet->IsFirst() || resultSet->IsLast() || resultSet->IsBeforeFirst() ||
               resultSet->IsAfterLast());
  EXPECT_EQ(resultSet->GetCount(), 1);
  EXPECT_EQ(resultSet->GetPosition(), 0);

  store = ClientTest::Open();
  EXPECT_EQ(At(*Open(*store)), kAbsent);
  EXPECT_EQ(store->CloseResultSet(std::move(resultSet)), Status::SUCCESS);
  EXPECT_EQ(store->CloseResultSet(nullptr), Status::INVALID_ARGUMENT);
}

TEST_F(ResultSets, AreReadWhileTheStoreCloses) {
  for (int round = 0; round < 20; ++round) {
    auto store = ClientTest::Open();
    Fill(*store, 100);
    std::atomic<int> walking{0};
    std::vector<std::thread> readers;
    for (int i = 0; i < 2; ++i) {
      readers.emplace_back([&walking, resultSet = Open(*store)] {
        Entry entry;
        for (int n = 0; resultSet->MoveToPosition(n % 100); ++n) {
          const Status status = resultSet->GetEntry(entry);
          EXPECT_TRUE(status == Status::SUCCESS || status == Status::STORE_NOT_OPEN);
          if (n == 0) ++walking;
        }
      });
    }
    while (walking < 2) std::this_thread::yield();
    store.reset();
    for (std::thread& reader : readers) reader.join();
  }
}

TEST_F(ResultSets, SayThatARecordIsDamaged) {
  auto engine = OpenRaw(Folder("plain"));
  PutRaw(*engine, Client::RecordKey("damaged"), "?");
  const auto store =
      std::make_shared<Client::Store>("plain", Client::StoreTraits(), std::move(engine), "device");
  ASSERT_EQ(store->Load(), Status::SUCCESS);
  store->Put(B("sound"), B("v"));
  std::unique_ptr<KvStoreResultSet> resultSet;
  std::unique_ptr<Client::View> snapshot;
  ASSERT_EQ(store->NewSnapshot(snapshot), Status::SUCCESS);
  ASSERT_EQ(Client::ResultSet::Open(
                store, std::make_unique<Client::PrefixRows>("plain", std::move(snapshot), ""), resultSet),
            Status::SUCCESS);
  EXPECT_TRUE(resultSet->MoveToFirst());
  EXPECT_EQ(At(*resultSet), "<27459593>");
  EXPECT_TRUE(resultSet->MoveToNext());
  EXPECT_EQ(At(*resultSet), "sound=v");
  store->Close();
}

}  // namespace
}  // namespace KORA::DistributedKv
