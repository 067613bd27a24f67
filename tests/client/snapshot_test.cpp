#include <atomic>
#include <thread>

#include "notify/publisher.h"
#include "store/multi_store.h"
#include "store/snapshot.h"
#include "support.h"

namespace KORA::DistributedKv {
namespace {

using Texts = std::vector<std::string>;

constexpr const char* kNotOpen = "<27459588>";

// Keeps what it is given.
class Collector : public KvStoreObserver, public Recorder<std::unique_ptr<KvStoreSnapshot>> {
 public:
  void OnChange(const ChangeNotification& /*notification*/) override {
    ADD_FAILURE() << "a multi-version store has snapshots";
  }
  void OnChange(const ChangeNotification& /*notification*/,
                std::unique_ptr<KvStoreSnapshot> snapshot) override {
    Add(std::move(snapshot));
  }
};

class Snapshots : public ClientTest {
 protected:
  static std::unique_ptr<KvStoreSnapshot> Take(KvStore& store,
                                               std::shared_ptr<KvStoreObserver> observer = nullptr,
                                               Status expected = Status::SUCCESS) {
    std::unique_ptr<KvStoreSnapshot> taken;
    int calls = 0;
    store.GetKvStoreSnapshot(std::move(observer),
                             [&](Status status, std::unique_ptr<KvStoreSnapshot> snapshot) {
                               ++calls;
                               EXPECT_EQ(status, expected);
                               taken = std::move(snapshot);
                             });
    EXPECT_EQ(calls, 1);
    EXPECT_EQ(taken != nullptr, expected == Status::SUCCESS);
    return taken;
  }

  static Pairs List(KvStoreSnapshot& snapshot, const std::string& prefix = "",
                    Status expected = Status::SUCCESS) {
    Pairs pairs;
    snapshot.GetEntries(B(prefix), [&](Status status, std::vector<Entry>& entries) {
      EXPECT_EQ(status, expected);
      pairs = ToPairs(entries);
    });
    return pairs;
  }

  static Texts Keys(KvStoreSnapshot& snapshot, const std::string& prefix = "",
                    Status expected = Status::SUCCESS) {
    Texts texts;
    snapshot.GetKeys(B(prefix), [&](Status status, std::vector<Key>& keys) {
      EXPECT_EQ(status, expected);
      for (const Key& key : keys) texts.push_back(key.ToString());
    });
    return texts;
  }
};

// What they hold is compared with a map in tests/model.
TEST_F(Snapshots, RefuseWhatIsNone) {
  const auto store = OpenMulti();
  EXPECT_EQ(store->GetStoreId().storeId, "multi");
  EXPECT_EQ(Get(*Take(*store), ""), "<27459585>");
  EXPECT_EQ(store->ReleaseKvStoreSnapshot(nullptr), Status::INVALID_ARGUMENT);
}

TEST_F(Snapshots, ComeWithEachChange) {
  const auto store = OpenMulti();
  const auto observer = std::make_shared<Collector>();
  const auto other = std::make_shared<Collector>();
  EXPECT_EQ(store->SubscribeKvStore(SubscribeType::ALL, observer), Status::SUCCESS);
  EXPECT_EQ(store->SubscribeKvStore(SubscribeType::ALL, observer), Status::STORE_ALREADY_SUBSCRIBE);
  EXPECT_EQ(List(*Take(*store, other)), Pairs());
  Take(*store, other, Status::STORE_ALREADY_SUBSCRIBE);
  observer->Hold(true);
  constexpr int kCommits = 20;
  for (int i = 0; i < kCommits; ++i) store->Put(B("k"), B(std::to_string(i)));
  store->StartTransaction();
  store->Delete(B("k"));
  store->Put(B("t"), B("1"));
  store->Commit();
  observer->Hold(false);

  other->Take(kCommits + 1);  // their end must not take the first one's with it
  const auto told = observer->Take(kCommits + 1);
  for (int i = 0; i < kCommits; ++i) EXPECT_EQ(Get(*told[static_cast<size_t>(i)], "k"), std::to_string(i));
  EXPECT_EQ(List(*told.back()), (Pairs{{"t", "1"}}));
  EXPECT_EQ(store->UnSubscribeKvStore(SubscribeType::ALL, observer), Status::SUCCESS);
  EXPECT_EQ(store->UnSubscribeKvStore(SubscribeType::ALL, observer), Status::STORE_NOT_SUBSCRIBE);
}

TEST_F(Snapshots, OutliveTheirStore) {
  auto store = OpenMulti();
  const auto observer = std::make_shared<Collector>();
  store->SubscribeKvStore(SubscribeType::ALL, observer);
  store->Put(B("k"), B("1"));
  const auto delivered = observer->Take(1);
  const auto taken = Take(*store);
  // These wait for the observer while the store closes.
  observer->Hold(true);
  for (int i = 0; i < 10; ++i) store->Put(B("k"), B("2"));
  observer->Take(1);
  store.reset();
  observer->Hold(false);
  EXPECT_EQ(Get(*delivered.front(), "k"), kNotOpen);
  EXPECT_EQ(Get(*taken, "k"), kNotOpen);
  EXPECT_EQ(List(*taken, "", Status::STORE_NOT_OPEN), Pairs());
  EXPECT_EQ(Keys(*taken, "", Status::STORE_NOT_OPEN), Texts());
  store = OpenMulti();
  EXPECT_EQ(Get(*Take(*store), "k"), "2");
}

TEST_F(Snapshots, AreReadByThreadsWhileTheStoreCloses) {
  for (int round = 0; round < 20; ++round) {
    auto store = OpenMulti();
    store->Put(B("k"), B("1"));
    const std::shared_ptr<KvStoreSnapshot> snapshot = Take(*store);
    std::atomic<int> reading{0};
    std::vector<std::thread> readers;
    for (int i = 0; i < 2; ++i) {
      readers.emplace_back([&reading, snapshot, own = Take(*store)] {
        for (bool first = true; Get(*snapshot, "k") == "1" && Get(*own, "k") == "1"; first = false) {
          if (first) ++reading;
        }
      });
    }
    while (reading < 2) std::this_thread::yield();
    store.reset();
    for (std::thread& reader : readers) reader.join();
    EXPECT_EQ(Get(*snapshot, "k"), kNotOpen);
  }
}

// The observer is inside its first call; what waits is bounded, and what is dropped keeps no snapshot.
TEST_F(Snapshots, EndWithADroppedChange) {
  const auto publisher = std::make_shared<Client::Publisher>("device", "store");
  const auto observer = std::make_shared<Collector>();
  publisher->Subscribe(SubscribeType::ALL, observer, nullptr);
  observer->Hold(true);
  const auto kept = std::make_shared<int>();
  constexpr int kChanges = 40;
  for (int i = 0; i < kChanges; ++i) {
    Client::Change change;
    change.inserted.emplace_back(B("k"), B("v"));
    change.bytes = 1 << 20;
    publisher->Publish(std::move(change),
                       [&kept] { return [kept] { return std::unique_ptr<KvStoreSnapshot>(); }; });
  }
  observer->Take(1);
  EXPECT_LE(kept.use_count(), 1 + 1 + 8);
  EXPECT_GE(kept.use_count(), 1 + 8);
  observer->Hold(false);
}

class RateLimited : public ClientTest {
 protected:
  RateLimited() {
    const Client::StoreTraits traits{Client::StoreKind::kMulti};
    store_ = std::make_shared<Client::Store>("plain", traits, OpenRaw(Folder("plain")), "device", 1);
    EXPECT_EQ(store_->Load(), Status::SUCCESS);
    handle_ = std::make_unique<Client::MultiStore>(std::make_unique<Client::StoreLease>(store_, [] {}));
  }
  ~RateLimited() override { store_->Close(); }

  std::shared_ptr<Client::Store> store_;
  std::unique_ptr<Client::MultiStore> handle_;
};

TEST_F(RateLimited, ARefusedSnapshotLeavesNoObserver) {
  std::shared_ptr<Collector> observer;
  for (Status status = Status::SUCCESS; status == Status::SUCCESS;) {
    observer = std::make_shared<Collector>();
    handle_->GetKvStoreSnapshot(
        observer, [&status](Status answer, std::unique_ptr<KvStoreSnapshot>) { status = answer; });
    EXPECT_TRUE(status == Status::SUCCESS || status == Status::EXCEED_MAX_ACCESS_RATE);
  }
  EXPECT_EQ(handle_->UnSubscribeKvStore(SubscribeType::ALL, observer), Status::STORE_NOT_SUBSCRIBE);
}

TEST_F(RateLimited, WhatAFailedStoreTurnsAwayCountsForNothing) {
  std::unique_ptr<Client::View> view;
  ASSERT_EQ(store_->NewSnapshot(view), Status::SUCCESS);
  auto snapshot = std::make_unique<Client::Snapshot>(
      std::make_shared<Client::Snapshot::ViewReader>(store_, std::move(view)), "plain");
  store_->Fail();
  EXPECT_EQ(handle_->Put(B("k"), B("v")), Status::DB_ERROR);
  Value value;
  EXPECT_EQ(snapshot->Get(B("k"), value), Status::DB_ERROR);
  EXPECT_EQ(handle_->ReleaseKvStoreSnapshot(std::move(snapshot)), Status::SUCCESS);
  EXPECT_TRUE(store_->Rate().Take());
}

}  // namespace
}  // namespace KORA::DistributedKv
