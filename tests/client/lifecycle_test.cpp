#include <fstream>

#include "support.h"

namespace KORA::DistributedKv {
namespace {

class Lifecycle : public ClientTest {
 protected:
  std::vector<std::string> StoreIds(const std::string& app) {
    std::vector<std::string> names;
    manager_.GetAllKvStoreId({app}, [&](Status status, std::vector<StoreId>& storeIds) {
      EXPECT_EQ(status, Status::SUCCESS);
      for (const StoreId& id : storeIds) names.push_back(id.storeId);
    });
    return names;
  }
  Status Close(const std::string& storeId) { return manager_.CloseKvStore(app_, {storeId}, nullptr); }
  Status Delete(const std::string& storeId) { return manager_.DeleteKvStore(app_, {storeId}); }
};

TEST_F(Lifecycle, CreatesOnlyWhenAsked) {
  Options existing;
  Open("s", existing, Status::STORE_NOT_FOUND);
  Open("s");
  const auto store = Open("s", existing);
  EXPECT_EQ(store->GetStoreId().storeId, "s");
}

TEST_F(Lifecycle, HandlesShareTheStoreAndTheLastClosesIt) {
  DistributedKvDataManager other;
  auto first = Open();
  std::unique_ptr<SingleKvStore> second;
  other.GetSingleKvStore(Creating(), app_, {"store"},
                         [&](Status, std::unique_ptr<SingleKvStore> store) { second = std::move(store); });
  ASSERT_NE(second, nullptr);
  EXPECT_EQ(Put(*first, "k", "v"), Status::SUCCESS);
  EXPECT_EQ(Get(*second, "k"), "v");

  EXPECT_EQ(Close("store"), Status::SUCCESS);
  first.reset();
  EXPECT_EQ(Get(*second, "k"), "v");
  EXPECT_EQ(Close("store"), Status::SUCCESS);
  second.reset();
  EXPECT_EQ(Close("store"), Status::STORE_NOT_OPEN);
  EXPECT_EQ(Get(*Open(), "k"), "v");
}

TEST_F(Lifecycle, CloseTakesAHandleThatItIsGiven) {
  EXPECT_EQ(manager_.CloseKvStore(app_, {"multi"}, OpenMulti()), Status::SUCCESS);
  EXPECT_EQ(Close("multi"), Status::STORE_NOT_OPEN);
}

TEST_F(Lifecycle, ListsStoresInOrder) {
  EXPECT_EQ(StoreIds("unknown"), std::vector<std::string>());
  Open("b");
  const auto open = Open("a");
  OpenMulti("C");
  EXPECT_EQ(StoreIds(app_.appId), (std::vector<std::string>{"C", "a", "b"}));
  EXPECT_EQ(Delete("b"), Status::SUCCESS);
  EXPECT_EQ(StoreIds(app_.appId), (std::vector<std::string>{"C", "a"}));
}

TEST_F(Lifecycle, DeletesClosedStoresOnly) {
  EXPECT_EQ(Delete("store"), Status::STORE_NOT_FOUND);
  auto store = Open();
  Put(*store, "k", "v");
  EXPECT_EQ(Delete("store"), Status::ERROR);
  EXPECT_EQ(Get(*store, "k"), "v");
  store.reset();
  EXPECT_EQ(Delete("store"), Status::SUCCESS);
  EXPECT_FALSE(std::filesystem::exists(Folder("store")));
  EXPECT_EQ(Get(*Open(), "k"), kAbsent);
}

TEST_F(Lifecycle, CleansUpWhatWasCutOff) {
  // A creation that ended before the store was complete, and a deletion before all was removed.
  std::filesystem::create_directories(Folder("store") / "folder");
  std::ofstream(Folder("store") / "CURRENT") << "MANIFEST-000001\n";
  std::ofstream(Folder("store") / "CREATING");
  std::filesystem::create_directories(Folder(".deleted.1.1") / "folder");

  EXPECT_EQ(StoreIds(app_.appId), std::vector<std::string>());
  EXPECT_EQ(Delete("store"), Status::STORE_NOT_FOUND);
  Open("store", Options(), Status::STORE_NOT_FOUND);
  const auto store = Open();
  EXPECT_EQ(Put(*store, "k", "v"), Status::SUCCESS);
  for (const char* name : {"folder", "CREATING"})
    EXPECT_FALSE(std::filesystem::exists(Folder("store") / name));
  EXPECT_FALSE(std::filesystem::exists(Folder(".deleted.1.1")));
}

TEST_F(Lifecycle, RefusesADamagedStoreAndLeavesItAlone) {
  Put(*Open("engine"), "k", "v");
  std::filesystem::rename(Folder("engine") / "CURRENT", Folder("engine") / "moved");
  Open("engine", Creating(), Status::DB_ERROR);
  std::filesystem::rename(Folder("engine") / "moved", Folder("engine") / "CURRENT");
  EXPECT_EQ(Get(*Open("engine"), "k"), "v");

  Open("traits");
  std::ofstream(Folder("traits") / "STORE") << "format=2\n";
  Open("traits", Creating(), Status::DB_ERROR);
  std::filesystem::remove(Folder("traits") / "STORE");
  Open("traits", Creating(), Status::DB_ERROR);
  EXPECT_TRUE(std::filesystem::exists(Folder("traits") / "CURRENT"));
  EXPECT_EQ(Delete("traits"), Status::SUCCESS);
  EXPECT_FALSE(std::filesystem::exists(Folder("traits")));

  std::filesystem::create_directories(Folder("letters"));
  std::ofstream(Folder("letters") / "letter") << "not a store's";
  EXPECT_EQ(Delete("letters"), Status::STORE_NOT_FOUND);
  EXPECT_TRUE(std::filesystem::exists(Folder("letters") / "letter"));
}

TEST_F(Lifecycle, KindAndSecurityLevelAreSettledAtCreation) {
  Options level2 = Creating();
  level2.securityLevel = static_cast<SecurityLevel>(2);
  for (const bool keepOpen : {false, true}) {
    auto store = Open("store", level2);
    SecurityLevel level{};
    EXPECT_EQ(store->GetSecurityLevel(level), Status::SUCCESS);
    EXPECT_EQ(level, level2.securityLevel);
    if (!keepOpen) store.reset();
    Open("store", Creating(), Status::SECURITY_LEVEL_ERROR);
    EXPECT_EQ(OpenMulti("store", Status::INVALID_ARGUMENT), nullptr);
  }
}

TEST_F(Lifecycle, RefusesWhatItDoesNotSupport) {
  Options memory = Creating();
  memory.persistent = false;
  Open("s", memory, Status::NOT_SUPPORT);

  Options level = Creating();
  level.securityLevel = static_cast<SecurityLevel>(6);
  Options type = Creating();
  type.kvStoreType = static_cast<KvStoreType>(3);
  for (const Options& options : {level, type}) Open("s", options, Status::INVALID_ARGUMENT);
  EXPECT_FALSE(std::filesystem::exists(Folder("s")));

  Options autoSync = Creating();
  autoSync.autoSync = true;
  Open("s", autoSync);
}

TEST_F(Lifecycle, Identifiers) {
  const std::string longest(128, 'x');
  const std::vector<std::string> bad = {
      "",           ".", "..", ".hidden", "a/b", longest + "x", "a b", "\n", "a\\", std::string("a\0", 2),
      "caf\xc3\xa9"};
  for (const std::string& name : bad) {
    Open(name, Creating(), Status::INVALID_ARGUMENT);
    EXPECT_EQ(Delete(name), Status::INVALID_ARGUMENT);
    EXPECT_EQ(manager_.DeleteKvStore({name}, {"s"}), Status::INVALID_ARGUMENT);
    EXPECT_EQ(Close(name), Status::INVALID_ARGUMENT);
    manager_.GetAllKvStoreId({name}, [](Status status, std::vector<StoreId>& storeIds) {
      EXPECT_EQ(status, Status::INVALID_ARGUMENT);
      EXPECT_TRUE(storeIds.empty());
    });
  }
  for (const std::string& name : {longest, std::string("A-z.0_9"), std::string("-")}) Open(name);
}

TEST_F(Lifecycle, ThreadsOpenAndCloseOneStore) {
  Open();
  OnThreads(4, [this](int i) {
    for (int round = 0; round < 10; ++round) {
      const auto store = Open();
      EXPECT_EQ(Put(*store, std::to_string(i), std::to_string(round)), Status::SUCCESS);
    }
  });
  EXPECT_EQ(List(*Open()), (Pairs{{"0", "9"}, {"1", "9"}, {"2", "9"}, {"3", "9"}}));
}

TEST_F(Lifecycle, WhatACallbackThrowsStaysInside) {
  manager_.GetSingleKvStore(Creating(), app_, {"s"}, [](Status, std::unique_ptr<SingleKvStore>) {
    throw std::runtime_error("thrown");
  });
  manager_.GetAllKvStoreId(app_, [](Status, std::vector<StoreId>&) { throw 1; });
  EXPECT_EQ(Close("s"), Status::STORE_NOT_OPEN);
}

}  // namespace
}  // namespace KORA::DistributedKv
