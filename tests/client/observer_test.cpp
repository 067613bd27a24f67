#include <thread>

#include "support.h"

namespace KORA::DistributedKv {
namespace {

using Lines = std::vector<std::string>;

class Observers : public ClientTest {
 protected:
  std::shared_ptr<RecordingObserver> Subscribe(SingleKvStore& store,
                                               SubscribeType type = SubscribeType::LOCAL) {
    auto observer = std::make_shared<RecordingObserver>();
    EXPECT_EQ(store.SubscribeKvStore(type, observer), Status::SUCCESS);
    return observer;
  }

  // Whether the client keeps it no longer, once a call that is still running is over.
  static bool IsLetGo(const std::shared_ptr<RecordingObserver>& observer) {
    for (int i = 0; i < 1000 && observer.use_count() > 1; ++i) {
      std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    return observer.use_count() == 1;
  }
};

TEST_F(Observers, TellInsertUpdateAndDeleteApart) {
  const auto store = Open();
  Put(*store, "old", "0");
  const auto observer = Subscribe(*store);
  Put(*store, "k", "1");
  Put(*store, "k", "2");
  store->Delete(B("absent"));
  store->Delete(B("k"));
  store->PutBatch({{B("n"), B("1")}, {B("old"), B("1")}, {B("n"), B("2")}});
  store->DeleteBatch({B("old"), B("absent")});
  EXPECT_EQ(observer->Await(5), (Lines{"+k=1", "~k=2", "-k=2", "+n=2 ~old=1", "-old=1"}));
  EXPECT_EQ(observer->Device().size(), 32U);
  EXPECT_EQ(observer->Device().find_first_not_of("0123456789abcdef"), std::string::npos);
}

TEST_F(Observers, HearOfATransactionOnceAndMerged) {
  const auto store = Open();
  store->PutBatch({{B("deleted"), B("1")}, {B("replaced"), B("1")}, {B("updated"), B("1")}});
  const auto observer = Subscribe(*store);
  store->StartTransaction();
  Put(*store, "rolled back", "1");
  store->Rollback();

  store->StartTransaction();
  Put(*store, "come and gone", "1");
  store->Delete(B("come and gone"));
  Put(*store, "deleted", "2");
  store->Delete(B("deleted"));
  store->Delete(B("replaced"));
  Put(*store, "replaced", "2");
  Put(*store, "updated", "2");
  Put(*store, "updated", "3");
  Put(*store, "new", "1");
  Put(*store, "new", "2");
  store->Commit();
  Put(*store, "last", "1");
  EXPECT_EQ(observer->Await(2), (Lines{"+new=2 ~replaced=2 ~updated=3 -deleted=1", "+last=1"}));
}

TEST_F(Observers, SubscribeAndUnsubscribe) {
  const auto store = Open();
  const auto other = Open();
  const auto observer = std::make_shared<RecordingObserver>();
  for (const int type : {-1, 0, 4}) {
    EXPECT_EQ(store->SubscribeKvStore(static_cast<SubscribeType>(type), observer), Status::INVALID_ARGUMENT);
  }
  EXPECT_EQ(store->SubscribeKvStore(SubscribeType::ALL, nullptr), Status::INVALID_ARGUMENT);
  EXPECT_EQ(store->UnSubscribeKvStore(SubscribeType::ALL, observer), Status::STORE_NOT_SUBSCRIBE);
  EXPECT_EQ(store->SubscribeKvStore(SubscribeType::ALL, observer), Status::SUCCESS);
  EXPECT_EQ(other->SubscribeKvStore(SubscribeType::LOCAL, observer), Status::STORE_ALREADY_SUBSCRIBE);
  Put(*store, "k", "1");
  observer->Await(1);
  EXPECT_EQ(store->UnSubscribeKvStore(SubscribeType::ALL, observer), Status::SUCCESS);
  EXPECT_TRUE(IsLetGo(observer));
  EXPECT_EQ(store->UnSubscribeKvStore(SubscribeType::ALL, observer), Status::STORE_NOT_SUBSCRIBE);
  Put(*store, "unheard", "1");
  EXPECT_EQ(store->SubscribeKvStore(SubscribeType::LOCAL, observer), Status::SUCCESS);
  Put(*store, "k", "2");
  EXPECT_EQ(observer->Await(2), (Lines{"+k=1", "~k=2"}));
}

TEST_F(Observers, RemoteOnlyHearsNothingLocal) {
  const auto store = Open();
  const auto remote = Subscribe(*store, SubscribeType::REMOTE);
  const auto local = Subscribe(*store, SubscribeType::LOCAL);
  Put(*store, "k", "1");
  local->Await(1);
  EXPECT_EQ(remote->Await(0), Lines());
}

TEST_F(Observers, EndWithTheirHandle) {
  const auto store = Open();
  auto other = Open();
  const auto observer = Subscribe(*store);
  const auto ended = Subscribe(*other);
  other.reset();
  EXPECT_TRUE(IsLetGo(ended));
  Put(*store, "k", "1");
  EXPECT_EQ(observer->Await(1), (Lines{"+k=1"}));
  EXPECT_EQ(ended->Await(0), Lines());
}

TEST_F(Observers, HearEveryCommitInOrder) {
  const auto store = Open();
  const auto observer = Subscribe(*store);
  constexpr int kThreads = 3;
  constexpr int kWrites = 300;
  OnThreads(kThreads, [&](int i) {
    for (int n = 0; n < kWrites; ++n) Put(*store, "k", std::to_string(i * kWrites + n));
  });
  const Lines lines = observer->Await(kThreads * kWrites);
  EXPECT_EQ(lines.size(), static_cast<size_t>(kThreads * kWrites));
  EXPECT_EQ(lines.back(), "~k=" + Get(*store, "k"));
}

TEST_F(Observers, MayUseTheStore) {
  class Echo : public RecordingObserver {
   public:
    explicit Echo(SingleKvStore& store) : store_(store) {}
    void OnChange(const ChangeNotification& notification) override {
      if (notification.GetInsertEntries().front().key.ToString() == "in") {
        Put(store_, "out", Get(store_, "in"));
      }
      RecordingObserver::OnChange(notification);
    }

   private:
    SingleKvStore& store_;
  };
  const auto store = Open();
  const auto observer = std::make_shared<Echo>(*store);
  store->SubscribeKvStore(SubscribeType::ALL, observer);
  Put(*store, "in", "1");
  EXPECT_EQ(observer->Await(2), (Lines{"+in=1", "+out=1"}));
}

TEST_F(Observers, MayThrow) {
  class Thrower : public RecordingObserver {
   public:
    void OnChange(const ChangeNotification& notification) override {
      RecordingObserver::OnChange(notification);
      throw std::runtime_error("thrown by an observer");
    }
  };
  const auto store = Open();
  const auto thrower = std::make_shared<Thrower>();
  store->SubscribeKvStore(SubscribeType::ALL, thrower);
  const auto observer = Subscribe(*store);
  Put(*store, "a", "1");
  Put(*store, "b", "1");
  EXPECT_EQ(thrower->Await(2).size(), 2U);
  EXPECT_EQ(observer->Await(2).size(), 2U);
}

// One observer that never returns: a writer waits once, later ones do not, the oldest changes go, and the
// newest are still there when it wakes up.
TEST_F(Observers, SlowOneDropsTheOldest) {
  const auto store = Open();
  const auto observer = Subscribe(*store);
  observer->Hold(true);
  Put(*store, "first", "1");
  observer->Await(1);

  const std::string megabyte(1 << 20, 'v');
  const auto start = std::chrono::steady_clock::now();
  constexpr int kWrites = 40;
  for (int i = 0; i < kWrites; ++i)
    EXPECT_EQ(Put(*store, "k" + std::to_string(i), megabyte), Status::SUCCESS);
  const auto seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  EXPECT_GE(seconds, 0.9);
  EXPECT_LT(seconds, kWrites / 2);

  Put(*store, "last", "1");
  observer->Hold(false);
  const size_t kept = 8;  // MiB
  const Lines lines = observer->Await(1 + kept);
  EXPECT_EQ(lines.front(), "+first=1");
  EXPECT_EQ(lines.back(), "+last=1");
  EXPECT_LE(lines.size(), 1 + kept + 1);
  EXPECT_EQ(lines[1].substr(0, 5), "+k" + std::to_string(kWrites - static_cast<int>(kept) + 1) + "=");
}

}  // namespace
}  // namespace KORA::DistributedKv
