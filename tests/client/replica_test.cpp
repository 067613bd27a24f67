// A store as the synchronisation sees it, over a real engine.
#include "store/store_replica.h"

#include <thread>

#include "query/store_query.h"
#include "support.h"
#include "troubled_engine.h"

namespace KORA::DistributedKv::Client {
namespace {

constexpr const char* kSelf = "self";
class ReplicaTest : public ClientTest {
 protected:
  void SetUp() override { OpenStore(); }
  void TearDown() override { CloseStore(); }

  void OpenStore(const std::string& schema = "", bool readOnly = false) {
    store_ = std::make_shared<Store>(
        "plain", StoreTraits(),
        std::make_unique<TroubledEngine>(OpenRaw(Folder("plain"), readOnly), trouble_), kSelf);
    ASSERT_EQ(store_->Load(schema), Status::SUCCESS);
  }
  void CloseStore() {
    replica_.reset();
    store_->Gate().Close();
    store_->Close();
  }
  void Join() { ASSERT_EQ(StoreReplica::Open(store_, replica_), Status::SUCCESS); }
  void Reopen(const std::string& schema = "") {
    CloseStore();
    OpenStore(schema);
    Join();
  }

  void Put(const std::string& key, const std::string& value) {
    EXPECT_EQ(store_->Put(B(key), B(value)), Status::SUCCESS) << key;
  }
  void Delete(const std::string& key) { EXPECT_EQ(store_->Delete(B(key)), Status::SUCCESS) << key; }
  template <typename Write>
  void InTransaction(Write write) {
    EXPECT_EQ(store_->StartTransaction(), Status::SUCCESS);
    write();
    EXPECT_EQ(store_->Commit(), Status::SUCCESS);
  }

  std::shared_ptr<RecordingObserver> Subscribe(SubscribeType type) {
    auto observer = std::make_shared<RecordingObserver>();
    EXPECT_EQ(store_->Observers().Subscribe(type, observer, nullptr), Status::SUCCESS);
    return observer;
  }

  // The keys of the log; '!' is the end of a commit.
  std::string Log(Sync::LogPosition after = 0) {
    std::vector<Sync::LogEntry> entries;
    EXPECT_EQ(replica_->Log(after, 10'000, entries), Status::SUCCESS);
    std::string text;
    for (const Sync::LogEntry& entry : entries) text += entry.key + (entry.endsCommit ? "! " : " ");
    EXPECT_EQ(entries.empty() ? after : entries.back().position, std::max(after, replica_->LogEnd()));
    return text;
  }

  // What is held, page by page: "key=value@device", and "key-@device" for a tombstone.
  std::string Held() {
    std::string text;
    std::string after;
    for (std::vector<Sync::Held> page;; page.clear()) {
      EXPECT_EQ(replica_->Scan(after, "", 2, page), Status::SUCCESS);
      for (const Sync::Held& held : page) {
        Sync::Content content;
        EXPECT_EQ(replica_->Read(held.key, content), Status::SUCCESS) << held.key;
        EXPECT_EQ(content.stamp, held.stamp);
        EXPECT_EQ(content.deleted, held.deleted);
        text += held.key + (held.deleted ? "-" : "=" + content.value) + "@" + held.stamp.device + " ";
      }
      if (page.empty()) return text;
      after = page.back().key;
    }
  }

  Sync::Stamp StampOf(const std::string& key) {
    Sync::Content content;
    EXPECT_EQ(replica_->Read(key, content), Status::SUCCESS) << key;
    return content.stamp;
  }

  Status Merge(const Sync::Group& group) {
    Sync::Group whole = group;
    for (const Sync::Candidate& candidate : group.records)
      whole.newest = std::max(whole.newest, candidate.content.stamp.version);
    return replica_->Merge(whole);
  }

  std::string Query(int n) {
    std::vector<Entry> entries;
    const std::string query = R"({"where": {"field": "n", "eq": )" + std::to_string(n) + "}}";
    EXPECT_EQ(GetEntriesWithQuery(*store_, query, entries), Status::SUCCESS);
    std::string keys;
    for (const Entry& entry : entries) keys += entry.key.ToString() + " ";
    return keys;
  }

  Trouble trouble_ = Trouble::kNone;
  std::shared_ptr<Store> store_;
  std::unique_ptr<StoreReplica> replica_;
};

Sync::Candidate Written(const std::string& key, const Sync::Stamp& stamp, const std::string& value) {
  return {key, {stamp, false, value}, true};
}
Sync::Candidate Deleted(const std::string& key, const Sync::Stamp& stamp) {
  return {key, {stamp, true, ""}, true};
}

// Whether indexes and observers take their part must make no difference.
TEST_F(ReplicaTest, EachLocalCommitIsLoggedWholeAndInOrder) {
  for (const bool indexed : {false, true}) {
    for (const bool observed : {false, true}) {
      CloseStore();
      std::filesystem::remove_all(Folder("plain"));
      OpenStore(indexed ? kIndexed : "");
      if (observed) Subscribe(SubscribeType::ALL);
      Put("old", Document(0));
      store_->StartTransaction();
      Put("open", Document(0));
      Join();
      store_->Commit();
      int logged = 0;
      store_->OnLogged([&logged] { ++logged; });
      Put("a", Document(1));
      store_->PutBatch({{B("b"), B(Document(2))}, {B("c"), B(Document(3))}});
      Delete("a");
      InTransaction([&] {
        Put("e", Document(4));
        Delete("e");
        Delete("c");
        Put("c", Document(5));
        Delete("b");
      });
      store_->StartTransaction();
      Put("rolled back", Document(0));
      store_->Rollback();
      Delete("absent");
      EXPECT_EQ(logged, 5);
      EXPECT_EQ(Log(), "open! a! b c! a! b c e! absent! ");
      const std::string held = "a-@self absent-@self b-@self c=" + Document(5) +
                               "@self e-@self old=" + Document(0) + "@self open=" + Document(0) + "@self ";
      EXPECT_EQ(Held(), held);
      EXPECT_EQ(StampOf("b"), StampOf("c")) << "one commit";
      Reopen(indexed ? kIndexed : "");
      EXPECT_EQ(Held(), held);
      const Sync::LogPosition before = replica_->LogEnd();
      Put("a", Document(6));
      EXPECT_EQ(Held().find("a=" + Document(6) + "@self absent-"), 0U) << "a tombstone gives way";
      EXPECT_EQ(store_->Clear(), Status::SUCCESS);
      EXPECT_EQ(Log(before), "a! a c old open! ");
      EXPECT_EQ(Held(), "a-@self absent-@self b-@self c-@self e-@self old-@self open-@self ");
      EXPECT_EQ(Query(6) + Query(5) + Query(0), "");
    }
  }
}

TEST_F(ReplicaTest, AStoreThatNeverJoinedKeepsNothingBesideItsRecords) {
  Put("a", "1");
  Delete("a");
  store_->Clear();
  for (const Bytes space : {kLogSpace, kTombstoneSpace})
    EXPECT_FALSE(store_->Committed().Entries(space)->Valid());
  CloseStore();
  OpenStore("", true);
  EXPECT_EQ(StoreReplica::Open(store_, replica_), Status::READ_ONLY);
}

TEST_F(ReplicaTest, AMergeJudgesEachRecordAndIsToldByDevice) {
  Join();
  Put("older", "mine");
  Put("newer", "mine");
  Put("refused", "mine");
  Put("deleted", "mine");
  Delete("revived");
  Delete("ended");
  Put("gone", "mine");
  Put("changed", "mine");
  const Sync::LogPosition before = replica_->LogEnd();
  const auto all = Subscribe(SubscribeType::ALL);
  const auto local = Subscribe(SubscribeType::LOCAL);
  const auto remote = Subscribe(SubscribeType::REMOTE);
  const Version later = *replica_->NextVersion() + (Version{3'600'000} << kVersionCounterBits);
  Sync::Group group;
  group.records = {Written("older", {1, "x"}, "theirs"),       Written("newer", {later, "x"}, "theirs"),
                   Written("refused", {later, "x"}, "theirs"), Deleted("deleted", {later + 1, "x"}),
                   Written("revived", {later, "y"}, "theirs"), Deleted("unknown", {later, "y"})};
  group.records[2].admitted = false;
  group.removals = {{"ended", StampOf("ended")}, {"gone", StampOf("gone")}, {"changed", {1, kSelf}}};
  group.requeued = {"changed", "no such key"};
  group.state = "state";
  EXPECT_EQ(Merge(group), Status::SUCCESS);
  EXPECT_EQ(Log(before), "older! changed! ");
  const std::string held =
      "changed=mine@self deleted-@x newer=theirs@x older=mine@self refused=mine@self revived=theirs@y "
      "unknown-@y ";
  EXPECT_EQ(Held(), held);
  Put("last", "1");
  EXPECT_GT(StampOf("last").version, later + 1);
  EXPECT_EQ(all->Await(4), (std::vector<std::string>{"-gone=mine", "~newer=theirs -deleted=mine",
                                                     "+revived=theirs", "+last=1"}));
  EXPECT_EQ(remote->Await(3).size(), 3U);
  EXPECT_EQ(remote->Device(), "y");
  EXPECT_EQ(local->Await(1), (std::vector<std::string>{"+last=1"}));
  EXPECT_EQ(local->Device(), kSelf);
  group.removals.clear();
  group.requeued.clear();
  EXPECT_EQ(Merge(group), Status::SUCCESS) << "the same again changes nothing";
  Reopen();
  EXPECT_EQ(replica_->State(), "state");
  EXPECT_EQ(Held(), "changed=mine@self deleted-@x last=1@self " + held.substr(held.find("newer")));
  std::vector<Sync::Held> ended;
  EXPECT_EQ(replica_->Tombstones(later + 1, "", 10, ended), Status::SUCCESS);
  ASSERT_EQ(ended.size(), 1U);
  EXPECT_EQ(ended.front().key, "unknown");
}

TEST_F(ReplicaTest, SlowObserversOfMergesAreWaitedForByAsking) {
  Join();
  const auto observer = Subscribe(SubscribeType::REMOTE);
  observer->Hold(true);
  EXPECT_TRUE(replica_->HasRoom());
  ASSERT_EQ(Merge({{Written("told", {1, "other"}, "v")}, {}, {}, 0, ""}), Status::SUCCESS);
  observer->Await(1);  // and holds on to the queue
  Sync::Group group;
  for (size_t i = 0; i < kMaxWaitingEntries; ++i)
    group.records.push_back(Written(std::to_string(i), {2, "other"}, "v"));
  ASSERT_EQ(Merge(group), Status::SUCCESS);
  EXPECT_FALSE(replica_->HasRoom());
  while (!replica_->HasRoom()) std::this_thread::yield();
  EXPECT_TRUE(replica_->HasRoom()) << "until something is told";
  observer->Hold(false);
  observer->Await(2);
  while (!replica_->HasRoom()) std::this_thread::yield();
}

TEST_F(ReplicaTest, AMergeGoesBeneathAnOpenTransaction) {
  CloseStore();
  OpenStore(kIndexed);
  Join();
  for (const char* key : {"both", "deleted", "kept"}) Put(key, Document(1));
  const Version later = *replica_->NextVersion() + (Version{3'600'000} << kVersionCounterBits);
  const Sync::LogPosition before = replica_->LogEnd();
  store_->StartTransaction();
  Put("both", Document(2));
  Delete("deleted");
  Sync::Group group;
  for (const char* key : {"both", "deleted", "kept"}) {
    group.records.push_back(Written(key, {later, "x"}, Document(3)));
  }
  group.records.push_back(Written("unfit", {later, "x"}, "\x01{\"n\": \"no number\"}"));
  EXPECT_EQ(Merge(group), Status::SUCCESS);
  EXPECT_EQ(Query(1) + "/" + Query(2) + "/" + Query(3), "/both /kept ") << "inside the transaction";
  const auto observer = Subscribe(SubscribeType::LOCAL);
  EXPECT_EQ(store_->Commit(), Status::SUCCESS);
  EXPECT_EQ(observer->Await(1),
            (std::vector<std::string>{"~both=" + Document(2) + " -deleted=" + Document(3)}));
  EXPECT_EQ(Query(1) + "/" + Query(2) + "/" + Query(3), "/both /kept ");
  EXPECT_EQ(Log(before), "both deleted! ");
  EXPECT_GT(StampOf("both").version, later);
  EXPECT_GT(StampOf("deleted").version, later);
  EXPECT_EQ(StampOf("unfit").device, "x");
}

TEST_F(ReplicaTest, WhatFailsToCommitLeavesEverythingAsItWas) {
  Join();
  Put("a", "1");
  const std::string held = Held();
  const std::string log = Log();
  trouble_ = Trouble::kCommits;
  Sync::Group group;
  group.records = {Written("a", {StampOf("a").version + 1, "x"}, "2"), Written("b", {1, "y"}, "2")};
  group.requeued = {"a"};
  group.state = "state";
  EXPECT_EQ(Merge(group), Status::DB_ERROR);
  EXPECT_EQ(store_->Put(B("a"), B("3")), Status::DB_ERROR);
  EXPECT_EQ(replica_->CutLog(1, "cut"), Status::DB_ERROR);
  EXPECT_EQ(replica_->Forget(kSelf, "forgotten"), Status::DB_ERROR);
  trouble_ = Trouble::kNone;
  EXPECT_EQ(Held(), held);
  EXPECT_EQ(Log(), log);
  EXPECT_EQ(replica_->State(), "");
  EXPECT_EQ(Merge(group), Status::SUCCESS) << "the numbers of the devices are given again";
  Reopen();
  EXPECT_EQ(Held(), "a=2@x b=2@y ");
}

TEST_F(ReplicaTest, ALogIsCutOffForGood) {
  Join();
  constexpr int kEntries = 2500;
  for (int i = 0; i < kEntries; ++i) Put("k" + std::to_string(i), "v");
  EXPECT_EQ(replica_->CutLog(kEntries - 1, "cut"), Status::SUCCESS);
  EXPECT_EQ(Log(), "k2499! ");
  Reopen();
  EXPECT_EQ(replica_->State(), "cut");
  EXPECT_EQ(Log(), "k2499! ");
  EXPECT_EQ(replica_->CutLog(kEntries, "cut"), Status::SUCCESS);
  EXPECT_FALSE(store_->Committed().Entries(kLogSpace)->Valid()) << "nothing stays behind";
  Reopen();
  EXPECT_EQ(replica_->LogEnd(), static_cast<Sync::LogPosition>(kEntries));
  Put("k", "v");
  EXPECT_EQ(Log(kEntries), "k! ");
}

TEST_F(ReplicaTest, ForgettingADeviceLeavesNoTrace) {
  Join();
  Put("a", "1");
  Sync::Group group;
  group.records = {Written("b", {1, "x"}, "2"), Deleted("c", {2, "x"}), Written("d", {3, "y"}, "4")};
  EXPECT_EQ(Merge(group), Status::SUCCESS);
  const Sync::LogPosition end = replica_->LogEnd();
  const auto observer = Subscribe(SubscribeType::LOCAL);
  EXPECT_EQ(replica_->Forget("nobody", "1"), Status::SUCCESS);
  EXPECT_EQ(replica_->Forget("x", "2"), Status::SUCCESS);
  EXPECT_EQ(Held(), "a=1@self d=4@y ");
  EXPECT_EQ(replica_->Forget("y", "3"), Status::SUCCESS);
  EXPECT_EQ(Held(), "a=1@self ");
  EXPECT_EQ(replica_->LogEnd(), end);
  EXPECT_EQ(observer->Await(2), (std::vector<std::string>{"-b=2", "-d=4"}));
  EXPECT_EQ(replica_->State(), "3");
}

TEST_F(ReplicaTest, DamageIsAnErrorAndAClosedStoreIsNotRead) {
  Join();
  Put("a", "1");
  Delete("b");
  const auto write = [&](const std::string& key, const std::string& value) {
    EXPECT_EQ(store_->WriteAside([&](Batch& batch) {
      batch.Put(key, value, {});
      return Status::SUCCESS;
    }),
              Status::SUCCESS);
  };
  Sync::Content content;
  std::vector<Sync::Held> held;
  std::vector<Sync::LogEntry> entries;
  const std::string unknownDevice = std::string("\1\0\0\0\0\0\0\0\1\0\0\0\7", kRecordHeadSize);
  for (const std::string& damage : {std::string("?"), unknownDevice}) {
    write("tb", damage);
    write(LogKey(1), damage);
    EXPECT_EQ(replica_->Read("b", content), Status::DB_ERROR);
    EXPECT_EQ(replica_->Scan("", "", 10, held), Status::DB_ERROR);
    EXPECT_EQ(replica_->Tombstones(~Version{0}, "", 10, held), Status::DB_ERROR);
    EXPECT_EQ(replica_->Log(0, 10, entries), Status::DB_ERROR);
    EXPECT_EQ(Merge({{Written("b", {1, "x"}, "1")}, {}, {}, 0, ""}), Status::DB_ERROR);
  }
  write("mdevice?", "x");
  EXPECT_EQ(StoreReplica::Open(store_, replica_), Status::DB_ERROR);
  store_->Gate().Close();
  EXPECT_EQ(replica_->Read("a", content), Status::STORE_NOT_OPEN);
  EXPECT_EQ(Merge({}), Status::STORE_NOT_OPEN);
}

// Every write is in the log at last, whoever else was at it.
TEST_F(ReplicaTest, TheLogKeepsUpWithWritersOnManyThreads) {
  Join();
  constexpr int kWrites = 200;
  constexpr size_t kDeletes = (kWrites + 2) / 3;
  std::vector<std::thread> writers;
  writers.reserve(2);
  for (int i = 0; i < 2; ++i) {
    writers.emplace_back([this, i] {
      for (int n = 0; n < kWrites; ++n) {
        const std::string key = std::to_string(i) + "/" + std::to_string(n);
        Put(key, key);
        if (n % 3 == 0) Delete(key);
      }
    });
  }
  std::vector<Sync::LogEntry> entries;
  for (Version n = 1; entries.size() < 2 * (kWrites + kDeletes); ++n) {
    const Sync::LogPosition end = replica_->LogEnd();
    ASSERT_EQ(replica_->Log(entries.size(), 10'000, entries), Status::SUCCESS);
    ASSERT_GE(entries.size(), end);
    EXPECT_EQ(Merge({{Written("m", {n, "x"}, "v")}, {}, {}, 0, "s"}), Status::SUCCESS);
    std::vector<Sync::Held> held;
    EXPECT_EQ(replica_->Scan("", "", 50, held), Status::SUCCESS);
  }
  for (std::thread& writer : writers) writer.join();
  for (size_t i = 0; i < entries.size(); ++i) EXPECT_EQ(entries[i].position, i + 1);
}

}  // namespace
}  // namespace KORA::DistributedKv::Client
