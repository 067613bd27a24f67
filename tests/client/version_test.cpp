#include "engine/engine.h"
#include "store/hybrid_clock.h"
#include "store/record.h"
#include "store/store.h"
#include "support.h"

namespace KORA::DistributedKv::Client {
namespace {

uint64_t g_now = 0;  // milliseconds
uint64_t Now() {
  return g_now;
}

TEST(HybridClockTest, FollowsTheSystemAndNeverGoesBack) {
  g_now = 1000;
  HybridClock clock(0, Now);
  EXPECT_EQ(clock.Next(), Version{1000} << 16);
  EXPECT_EQ(clock.Next(), (Version{1000} << 16) + 1);
  g_now = 1001;
  EXPECT_EQ(clock.Next(), Version{1001} << 16);
  g_now = 5;
  EXPECT_EQ(clock.Next(), (Version{1001} << 16) + 1);
  EXPECT_EQ(HybridClock(clock.Last(), Now).Next(), clock.Last() + 1);
}

TEST(HybridClockTest, AFullCounterRunsOverIntoTheMilliseconds) {
  g_now = 1000;
  HybridClock clock(0, Now);
  for (int i = 0; i < 65536; ++i) clock.Next();
  EXPECT_EQ(clock.Next(), Version{1001} << 16);
}

TEST(RecordTest, Layout) {
  const RecordHead head = EncodeRecordHead(0x0102030405060708, 0x090a0b0c);
  const std::string stored = std::string(head.data(), head.size()) + "value";
  EXPECT_EQ(stored, "\x01\x01\x02\x03\x04\x05\x06\x07\x08\x09\x0a\x0b\x0cvalue");
  const auto record = ParseRecord(stored);
  ASSERT_TRUE(record);
  EXPECT_EQ(record->version, 0x0102030405060708U);
  EXPECT_EQ(record->device, 0x090a0b0cU);
  EXPECT_EQ(record->value, "value");
  EXPECT_FALSE(ParseRecord(Bytes(stored).substr(0, kRecordHeadSize - 1)));
  EXPECT_FALSE(ParseRecord("\x02" + stored.substr(1)));
}

class Versions : public testing::Test {
 protected:
  Versions() : folder_(Home() / "versions") { std::filesystem::remove_all(folder_); }

  static Version VersionOf(Engine& engine, const std::string& key) {
    Version version = 0;
    EXPECT_EQ(engine.Get("d" + key, [&](Bytes stored) { version = ParseRecord(stored)->version; }),
              Status::SUCCESS);
    return version;
  }

  const std::filesystem::path folder_;
};

TEST_F(Versions, GrowOverRestartsThoughTheClockIsSetBack) {
  const Version tomorrow = (SystemMilliseconds() + 86'400'000) << 16;
  const VersionBytes left = EncodeVersion(tomorrow);
  PutRaw(*OpenRaw(folder_), kClockKey, {left.data(), left.size()});
  Version last = tomorrow;
  for (int run = 0; run < 3; ++run) {
    Store store("s", {}, OpenRaw(folder_), "device");
    ASSERT_EQ(store.Load(), Status::SUCCESS);
    store.StartTransaction();
    store.Put(B("rolled back"), B("v"));
    store.Rollback();
    ASSERT_EQ(store.Put(B("k"), B("v")), Status::SUCCESS);
    ASSERT_EQ(store.Put(B("l"), B("v")), Status::SUCCESS);
    store.Close();

    const auto engine = OpenRaw(folder_);
    EXPECT_GT(VersionOf(*engine, "k"), last);
    EXPECT_GT(VersionOf(*engine, "l"), VersionOf(*engine, "k"));
    last = VersionOf(*engine, "l");
    Version bound = 0;
    EXPECT_EQ(engine->Get(kClockKey, [&](Bytes stored) { bound = *ParseVersion(stored); }), Status::SUCCESS);
    EXPECT_GE(bound, last);
  }
}

TEST_F(Versions, ADamagedRecordIsAnErrorNotAValue) {
  PutRaw(*OpenRaw(folder_), "dk", "short");
  Store store("s", {}, OpenRaw(folder_), "device");
  ASSERT_EQ(store.Load(), Status::SUCCESS);
  Value value;
  std::vector<Entry> entries = {{B("untouched"), B("v")}};
  EXPECT_EQ(store.Get(B("k"), value), Status::DB_ERROR);
  EXPECT_EQ(store.GetEntries(B(""), entries), Status::DB_ERROR);
  EXPECT_EQ(entries.size(), 1U);
  store.Close();
}

}  // namespace
}  // namespace KORA::DistributedKv::Client
