#include "store/store.h"

#include "support.h"
#include "troubled_engine.h"

namespace KORA::DistributedKv::Client {
namespace {

class StoreTest : public ClientTest {
 protected:
  void TearDown() override { store_->Close(); }

  void OpenStore(const std::string& schema) {
    store_ = std::make_shared<Store>("plain", StoreTraits(),
                                     std::make_unique<TroubledEngine>(OpenRaw(Folder("plain")), trouble_),
                                     "device");
    ASSERT_EQ(store_->Load(schema), Status::SUCCESS);
  }

  Trouble trouble_ = Trouble::kNone;
  std::shared_ptr<Store> store_;
};

TEST_F(StoreTest, AWriteThatFailsHalfwayBreaksItsTransactionUntilRollback) {
  OpenStore(kIndexed);
  const std::vector<Entry> both = {{B("one"), B(Document(1))}, {B("two"), B(Document(2))}};
  for (const Trouble trouble : {Trouble::kReads, Trouble::kThrows}) {
    ASSERT_EQ(store_->StartTransaction(), Status::SUCCESS);
    ASSERT_EQ(store_->Put(B("before"), B(Document(0))), Status::SUCCESS);
    EXPECT_EQ(store_->Put(B("large"), Blob(std::vector<uint8_t>(5 << 20))), Status::INVALID_ARGUMENT);
    trouble_ = trouble;
    if (trouble == Trouble::kThrows) {
      EXPECT_THROW(store_->PutBatch(both), std::runtime_error);
    } else {
      EXPECT_EQ(store_->PutBatch(both), Status::DB_ERROR);
    }
    trouble_ = Trouble::kNone;
    Value value;
    std::vector<Entry> entries;
    std::unique_ptr<View> snapshot;
    const Status answers[] = {store_->Put(B("k"), B(Document(3))),
                              store_->Delete(B("k")),
                              store_->Clear(),
                              store_->RemoveDeviceData("device"),
                              store_->Get(B("before"), value),
                              store_->GetEntries(B(""), entries),
                              store_->NewSnapshot(snapshot),
                              store_->StartTransaction(),
                              store_->Commit()};
    for (const Status answer : answers) EXPECT_EQ(answer, Status::DB_ERROR) << &answer - answers;
    EXPECT_EQ(store_->Rollback(), Status::SUCCESS);
    EXPECT_EQ(store_->GetEntries(B(""), entries), Status::SUCCESS);
    EXPECT_EQ(ToPairs(entries), Pairs());
  }
}

TEST_F(StoreTest, AClearIsToldWholeAndInOrderHoweverMuchThereIs) {
  OpenStore("");
  constexpr size_t kRecords = 2 * kMaxWaitingEntries + 5;
  std::vector<Entry> entries;
  for (size_t i = 0; i < kRecords; ++i) entries.emplace_back(B("k" + std::to_string(i)), B("v"));
  store_->PutBatch(entries);
  const auto observer = std::make_shared<RecordingObserver>();
  store_->Observers().Subscribe(SubscribeType::LOCAL, observer, nullptr);
  observer->Hold(true);
  store_->Put(B("first"), B("1"));
  observer->Await(1);
  EXPECT_EQ(store_->Clear(), Status::SUCCESS);
  store_->Put(B("k1"), B("later"));
  EXPECT_EQ(store_->Clear(), Status::SUCCESS);
  EXPECT_EQ(store_->Clear(), Status::SUCCESS);
  observer->Hold(false);
  store_->Put(B("last"), B("1"));
  const std::vector<std::string> lines = observer->Await(7);
  ASSERT_EQ(lines.size(), 7U);
  size_t told = 0;
  for (size_t i = 1; i < 4; ++i) {
    told += static_cast<size_t>(std::count(lines[i].begin(), lines[i].end(), '-'));
    EXPECT_EQ(lines[i].find_first_of("+~"), std::string::npos);
  }
  EXPECT_EQ(told, kRecords + 1);
  EXPECT_EQ((std::vector<std::string>{lines.begin() + 4, lines.end()}),
            (std::vector<std::string>{"+k1=later", "-k1=later", "+last=1"}));
}

TEST_F(StoreTest, NothingIsToldOfAClearOnceTheStoreIsClosed) {
  OpenStore("");
  store_->PutBatch({{B("a"), B("1")}, {B("b"), B("2")}});
  const auto observer = std::make_shared<RecordingObserver>();
  store_->Observers().Subscribe(SubscribeType::LOCAL, observer, nullptr);
  observer->Hold(true);
  store_->Put(B("c"), B("3"));
  observer->Await(1);
  store_->Clear();
  store_->Gate().Close();
  store_->Close();
  observer->Hold(false);
  Change after;
  after.inserted.emplace_back(B("d"), B("4"));
  store_->Observers().Publish(std::move(after), nullptr);
  EXPECT_EQ(observer->Await(2), (std::vector<std::string>{"+c=3", "+d=4"}));
}

}  // namespace
}  // namespace KORA::DistributedKv::Client
