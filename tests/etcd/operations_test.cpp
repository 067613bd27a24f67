// What the hub does when all is well.
#include <cstdlib>
#include <fstream>
#include <sstream>

#include "support.h"

namespace KORA::DistributedKv::Client::Etcd {
namespace {

using Sync::Condition;
using Kind = Sync::Condition::Kind;

std::string LoadedLibraries() {
  std::ostringstream text;
  text << std::ifstream("/proc/self/maps").rdbuf();
  return text.str();
}

// First of all, while nothing has been loaded by the other tests.
TEST(EtcdLibrary, IsLoadedWithTheFirstHub) {
  EXPECT_EQ(LoadedLibraries().find("grpc"), std::string::npos);
  ClusterSettings settings;
  settings.endpoints = {"127.0.0.1:1"};
  const Client client(settings);
  EXPECT_NE(LoadedLibraries().find("libgrpc++"), std::string::npos);
  EXPECT_NE(LoadedLibraries().find(kLibrary), std::string::npos);
}

// Threads of gRPC, and the hub's own, are busy while the process's objects are destroyed.
TEST(EtcdLibrary, AProcessMayEndWhileAHubIsOpen) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  const auto end = [] {
    ClusterSettings settings;
    settings.endpoints = {"127.0.0.1:1", "127.0.0.1:2"};
    auto& client = *new Client(settings);
    Listener listener;
    const auto watch = client.Hub().StartWatch("a", "b", 0, listener);
    client.Put("a", "");
    std::exit(client.Put("a", "").result == HubResult::kUnavailable ? 0 : 1);
  };
  for (int i = 0; i < 5; ++i) EXPECT_EXIT(end(), testing::ExitedWithCode(0), "");
}

class EtcdOperations : public testing::Test {
 protected:
  static void SetUpTestSuite() { servers_ = std::make_unique<Servers>(); }
  static void TearDownTestSuite() { servers_.reset(); }

  void TearDown() override { servers_->Control({"del", "", "--from-key=true"}); }

  static std::unique_ptr<Servers> servers_;
  Client client_{SettingsFor(*servers_)};
};
std::unique_ptr<Servers> EtcdOperations::servers_;

TEST_F(EtcdOperations, RangesComeInPagesAsTheHubWasAtARevision) {
  constexpr size_t kEntries = 2500;
  Sync::Transaction transaction;
  for (size_t i = 0; i < kEntries; ++i) {
    transaction.operations.push_back({"k" + std::to_string(10'000 + i), "value" + std::to_string(i)});
    if (transaction.operations.size() < Sync::kMaxOperations && i + 1 < kEntries) continue;
    ASSERT_EQ(client_.Commit(transaction).result, HubResult::kDone);
    transaction.operations.clear();
  }
  const Revision then = client_.Put("n", "").revision;
  client_.Delete("k10001");
  client_.Put("k10002", "changed");

  Sync::RangeRequest request{"k", "l", then};
  std::vector<Sync::HubEntry> entries;
  for (bool more = true; more;) {
    Sync::RangeAnswer page = client_.Range(request);
    ASSERT_EQ(page.result, HubResult::kDone);
    EXPECT_EQ(page.revision, then + 2);
    ASSERT_FALSE(page.entries.empty());
    more = page.more;
    request.begin = page.entries.back().key + '\0';
    entries.insert(entries.end(), page.entries.begin(), page.entries.end());
  }
  ASSERT_EQ(entries.size(), kEntries);
  for (size_t i = 0; i < kEntries; ++i) ASSERT_EQ(entries[i].value, "value" + std::to_string(i));
  EXPECT_LT(entries.front().modified, entries.back().modified);

  const Sync::RangeAnswer names = client_.Range({"k10001", "l", 0, 2, true});
  ASSERT_EQ(names.entries.size(), 2U);
  EXPECT_EQ(names.entries[0].key, "k10002");
  EXPECT_EQ(names.entries[0].value, "");
  EXPECT_TRUE(names.more);
  EXPECT_EQ(client_.Range({"k", "l", then + 100}).result, HubResult::kFuture);
}

TEST_F(EtcdOperations, KeysAndValuesAreBytes) {
  const std::string key("k\0\xff\xc0", 4);
  const std::string value("\0\x80", 2);
  ASSERT_EQ(client_.Put(key, value).result, HubResult::kDone);
  EXPECT_EQ(client_.Value(key), value);
  const Sync::RangeAnswer several = client_.Get({"absent", key, "k"});
  ASSERT_EQ(several.entries.size(), 1U);
  EXPECT_EQ(several.entries[0].key, key);
}

TEST_F(EtcdOperations, TransactionsHappenWhenAllConditionsHold) {
  const Revision first = client_.Put("a", "1").revision;
  const Revision second = client_.Put("b", "2").revision;
  const struct {
    std::vector<Condition> conditions;
    bool holds;
  } cases[] = {
      {{{"a", Kind::kEqual, first}, {"b", Kind::kEqual, second}}, true},
      {{{"a", Kind::kEqual, first}, {"b", Kind::kEqual, first}}, false},
      {{{"a", Kind::kAtMost, first}, {"b", Kind::kAtMost, second + 5}}, true},
      {{{"b", Kind::kAtMost, first}}, false},
      {{{"absent", Kind::kEqual, 0}, {"absent2", Kind::kAtMost, 0}}, true},
      {{{"absent", Kind::kEqual, first}}, false},
      {{{"a", Kind::kEqual, 0}}, false},
  };
  for (size_t i = 0; i < std::size(cases); ++i) {
    const std::string key = "new" + std::to_string(i);
    const Sync::TransactionAnswer answer =
        client_.Commit({cases[i].conditions, {{key, "x"}, {key + "d", {}}}});
    EXPECT_EQ(answer.result, cases[i].holds ? HubResult::kDone : HubResult::kRefused) << i;
    EXPECT_EQ(client_.Value(key), cases[i].holds ? "x" : "<absent>") << i;
    if (cases[i].holds) {
      EXPECT_EQ(answer.revision, client_.Get({key}).entries.at(0).modified);
    }
  }
  const Sync::TransactionAnswer refused = client_.Commit(
      {{{"a", Kind::kEqual, 1}, {"absent", Kind::kEqual, 0}, {"b", Kind::kEqual, 1}}, {{"c", "x"}}});
  EXPECT_EQ(refused.modified, (std::vector<Revision>{first, 0, second}));
}

TEST_F(EtcdOperations, TheLargestTransactionFits) {
  Sync::Transaction transaction;
  for (size_t i = 0; i < Sync::kMaxOperations; ++i) {
    const std::string key = "key" + std::to_string(i);
    transaction.conditions.push_back({key, Kind::kEqual, 0});
    transaction.operations.push_back(
        {key, std::string(Sync::kMaxTransactionBytes / Sync::kMaxOperations, 'v')});
  }
  EXPECT_EQ(client_.Commit(transaction).result, HubResult::kDone);
  EXPECT_EQ(client_.Commit(transaction).modified.size(), Sync::kMaxOperations);
  // What the hub does not take was certainly not applied.
  transaction.operations.push_back({"one more", ""});
  EXPECT_EQ(client_.Commit(transaction).result, HubResult::kUnavailable);
}

TEST_F(EtcdOperations, WhatIsBoundToALeaseEndsWithIt) {
  const Sync::Hub::LeaseAnswer lease = client_.Grant(60'000);
  ASSERT_EQ(lease.result, HubResult::kDone);
  EXPECT_EQ(lease.remaining, 60'000U);
  ASSERT_EQ(client_.Put("presence", "here", lease.lease).result, HubResult::kDone);
  EXPECT_EQ(client_.Keep(lease.lease).remaining, 60'000U);

  const Sync::Hub::LeaseAnswer brief = client_.Grant(1);
  EXPECT_EQ(brief.remaining, 2'000U);  // etcd's least
  ASSERT_EQ(client_.Put("brief", "here", brief.lease).result, HubResult::kDone);
  Listener listener;
  const auto watch = client_.Hub().StartWatch("brief", "c", 0, listener);
  ASSERT_TRUE(client_.Events().Until([&] { return listener.Text() == "-brief"; }));
  const Sync::Hub::LeaseAnswer ended = client_.Keep(brief.lease);
  EXPECT_EQ(ended.result, HubResult::kDone);
  EXPECT_EQ(ended.remaining, 0U);
  EXPECT_EQ(client_.Put("late", "", brief.lease).result, HubResult::kUnavailable);

  // A device that leaves is gone at once: also when the hub is closed right after.
  client_.Hub().RevokeLease(lease.lease);
  client_.Close();
  Client other(SettingsFor(*servers_));
  EXPECT_EQ(other.Value("presence"), "<absent>");
}

TEST_F(EtcdOperations, AWatchBringsWhatWasMissedAndWhatComes) {
  const Revision first = client_.Put("k1", "a").revision;
  client_.Commit({{}, {{"k1", "b"}, {"k2", "c"}, {"other", "-"}, {"k0", {}}}});
  Listener listener;
  auto watch = client_.Hub().StartWatch("k", "l", first + 1, listener);
  ASSERT_TRUE(client_.Events().Until([&] { return listener.received.size() == 2; }));
  EXPECT_TRUE(listener.started);
  client_.Delete("k2");
  client_.Put("k1", "");
  ASSERT_TRUE(client_.Events().Until([&] { return listener.received.size() == 4; }));
  EXPECT_EQ(listener.Text(), "+k1=b +k2=c -k2 +k1=");
  EXPECT_EQ(listener.received[0].revision, first + 1);
  EXPECT_EQ(listener.received[3].revision, first + 3);

  // Cancelled, it brings nothing more, not even what is on its way.
  client_.Hub().Commit({{}, {{"k3", "x"}}}, [&](const auto& /*answer*/) { watch.reset(); });
  ASSERT_TRUE(client_.Events().Until([&] { return !watch; }));
  const size_t received = listener.received.size();
  client_.Put("k4", "x");
  client_.Put("k5", "x");
  EXPECT_EQ(listener.received.size(), received);
  EXPECT_FALSE(listener.end);
}

// etcd cuts what exceeds a request's size, wherever that is.
TEST_F(EtcdOperations, TheEventsOfARevisionComeTogether) {
  constexpr size_t kTransactions = 12;
  constexpr size_t kEach = 4;
  Revision first = 0;
  for (size_t i = 0; i < kTransactions; ++i) {
    Sync::Transaction transaction;
    for (size_t j = 0; j < kEach; ++j) {
      transaction.operations.push_back(
          {"k" + std::to_string(j), std::string((200'000 + i) / (1 + j % 2), 'v')});
    }
    const Sync::TransactionAnswer answer = client_.Commit(transaction);
    ASSERT_EQ(answer.result, HubResult::kDone);
    first = first == 0 ? answer.revision : first;
  }
  class Groups : public Listener {
   public:
    void OnEvents(std::vector<HubEvent> events) override {
      const Revision begun = received.empty() ? 0 : received.back().revision;
      EXPECT_GT(events.front().revision, begun) << "a revision was cut";
      Listener::OnEvents(std::move(events));
    }
  };
  Groups listener;
  const auto watch = client_.Hub().StartWatch("k", "l", first, listener);
  ASSERT_TRUE(client_.Events().Until([&] { return listener.received.size() == kTransactions * kEach; }));
  EXPECT_GT(listener.deliveries.size(), 1U) << "nothing was cut";
}

TEST_F(EtcdOperations, WhatIsCompactedIsSaid) {
  const Revision first = client_.Put("k", "1").revision;
  const Revision last = client_.Put("k", "2").revision;
  Listener before;
  const auto going = client_.Hub().StartWatch("k", "l", last, before);
  ASSERT_TRUE(client_.Events().Until([&] { return before.received.size() == 1; }));
  servers_->Control({"compaction", std::to_string(last)});
  EXPECT_EQ(client_.Range({"k", "l", first}).result, HubResult::kCompacted);
  EXPECT_EQ(client_.Range({"k", "l", last}).result, HubResult::kDone);
  Listener listener;
  const auto watch = client_.Hub().StartWatch("k", "l", first, listener);
  ASSERT_TRUE(client_.Events().Until([&] { return listener.end.has_value(); }));
  EXPECT_EQ(listener.end, HubResult::kCompacted);
  // A watch that is in step does not care.
  client_.Put("k", "3");
  ASSERT_TRUE(client_.Events().Until([&] { return before.received.size() == 2; }));
  EXPECT_FALSE(before.end);
}

}  // namespace
}  // namespace KORA::DistributedKv::Client::Etcd
