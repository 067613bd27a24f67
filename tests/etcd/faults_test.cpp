// What the hub does when servers do not.
#include <cstdio>

#include "support.h"

namespace KORA::DistributedKv::Client::Etcd {
namespace {

using Kind = Sync::Condition::Kind;
using Clock = std::chrono::steady_clock;

int Since(Clock::time_point start) {
  return static_cast<int>(std::chrono::duration_cast<milliseconds>(Clock::now() - start).count());
}

// A watch that goes on where the one before has ended.
class LastingWatch : public Listener {
 public:
  LastingWatch(Client& client, Revision from) : client_(client), next_(from) { Begin(); }

  void OnEvents(std::vector<HubEvent> events) override {
    EXPECT_GE(events.front().revision, next_);
    next_ = events.back().revision + 1;
    Listener::OnEvents(std::move(events));
  }
  void OnEnd(HubResult reason) override {
    EXPECT_EQ(reason, HubResult::kUnavailable);
    ++ends;
    client_.Events().Post([this] { Begin(); });
  }

  int ends = 0;

 private:
  void Begin() { watch_ = client_.Hub().StartWatch(kAll, kEnd, next_, *this); }

  Client& client_;
  Revision next_;
  std::unique_ptr<Sync::Watch> watch_;
};

// Writes the key once, however often that has to be tried: an attempt that may have been applied shows in the
// next.
bool PutOnce(Client& client, const std::string& key) {
  for (const auto end = Clock::now() + seconds(60); Clock::now() < end;) {
    const HubResult result = client.Commit({{{key, Kind::kEqual, 0}}, {{key, "value"}}}).result;
    if (result == HubResult::kDone || result == HubResult::kRefused) return true;
    EXPECT_TRUE(result == HubResult::kUnavailable || result == HubResult::kUnknown)
        << testing::PrintToString(result);
    client.Events().Until([] { return false; }, milliseconds(50));
  }
  return false;
}

TEST(EtcdFaults, AHubThatIsNotThereIsSaidAtOnceAndFoundWhenItComes) {
  Servers servers;
  servers.Kill(0);
  Client client(SettingsFor(servers, seconds(60)));
  const auto start = Clock::now();
  EXPECT_EQ(client.Range({"a", "b"}).result, HubResult::kUnavailable);
  EXPECT_EQ(client.Put("a", "").result, HubResult::kUnavailable) << "certainly not applied";
  EXPECT_EQ(client.Grant(5'000).result, HubResult::kUnavailable);
  Listener listener;
  const auto watch = client.Hub().StartWatch("a", "b", 0, listener);
  ASSERT_TRUE(client.Events().Until([&] { return listener.end.has_value(); }));
  EXPECT_EQ(listener.end, HubResult::kUnavailable);
  EXPECT_FALSE(listener.started);
  EXPECT_LT(Since(start), 30'000);

  servers.Start(0);
  const auto started = Clock::now();
  ASSERT_TRUE(client.Reach());
  std::printf("found %d ms after its start\n", Since(started));
}

TEST(EtcdFaults, ARestartedHubIsFoundAgainAndAWatchMissesNothing) {
  Servers servers;
  Client client(SettingsFor(servers));
  LastingWatch watch(client, client.Put("a1", "").revision);
  for (int round = 0; round < 3; ++round) {
    servers.Kill(0);
    const int before = watch.ends;
    ASSERT_TRUE(client.Events().Until([&] { return watch.ends > before; }));
    servers.Start(0);
    Client other(SettingsFor(servers));
    ASSERT_TRUE(PutOnce(other, "b" + std::to_string(round)));
    ASSERT_TRUE(PutOnce(client, "c" + std::to_string(round)));
  }
  ASSERT_TRUE(client.Events().Until([&] { return watch.received.size() == 7; }));
  EXPECT_EQ(watch.Text(), "+a1= +b0=value +c0=value +b1=value +c1=value +b2=value +c2=value");
}

TEST(EtcdFaults, AKilledHubHasWhatItAcknowledgedAndNothingThatWasCertainlyNotApplied) {
  Servers servers;
  Client client(SettingsFor(servers));
  ASSERT_TRUE(client.Reach());
  constexpr size_t kCommits = 1000;
  constexpr size_t kLost = 50;
  std::vector<std::optional<HubResult>> results(kCommits + kLost);
  size_t answered = 0;
  size_t done = 0;
  const auto commit = [&](size_t i) {
    client.Hub().Commit({{}, {{"k" + std::to_string(i), "v"}}},
                        [&, i](const Sync::TransactionAnswer& answer) {
                          EXPECT_FALSE(results[i]) << "answered twice";
                          results[i] = answer.result;
                          ++answered;
                          done += answer.result == HubResult::kDone ? 1 : 0;
                        });
  };
  for (size_t i = 0; i < kCommits; ++i) commit(i);
  ASSERT_TRUE(client.Events().Until([&] { return done >= 20; }));
  // Those that a stopped server is sent are certainly under way when it is killed.
  servers.Pause(0);
  for (size_t i = kCommits; i < results.size(); ++i) commit(i);
  servers.Kill(0);
  ASSERT_TRUE(client.Events().Until([&] { return answered == results.size(); }));
  const HubResult later = client.Put("later", "").result;
  servers.Start(0);
  ASSERT_TRUE(client.Reach());
  size_t unknown = 0;
  size_t applied = 0;
  for (size_t i = 0; i < results.size(); ++i) {
    const bool there = client.Value("k" + std::to_string(i)) == "v";
    EXPECT_TRUE(there || results[i] != HubResult::kDone) << i;
    EXPECT_FALSE(there && results[i] == HubResult::kUnavailable) << i;
    unknown += results[i] == HubResult::kUnknown ? 1 : 0;
    applied += results[i] == HubResult::kUnknown && there ? 1 : 0;
  }
  EXPECT_GE(unknown, kLost);
  EXPECT_EQ(later, HubResult::kUnavailable);
  std::printf("acknowledged %zu, unknown %zu, %zu of them applied\n", done, unknown, applied);
}

TEST(EtcdFaults, AStoppedHubIsNoticed) {
  Servers servers;
  Client connected(SettingsFor(servers, milliseconds(500)));
  ASSERT_TRUE(connected.Reach());
  Listener listener;
  const auto watch = connected.Hub().StartWatch("a", "b", 0, listener);
  ASSERT_TRUE(connected.Events().Until([&] { return listener.started; }));
  servers.Pause(0);
  const auto start = Clock::now();
  EXPECT_EQ(connected.Put("a", "").result, HubResult::kUnknown) << "it may have left this device";
  EXPECT_EQ(connected.Range({"a", "b"}).result, HubResult::kUnavailable);
  Listener late;
  const auto second = connected.Hub().StartWatch("a", "b", 0, late);
  ASSERT_TRUE(connected.Events().Until([&] { return late.end.has_value(); }));
  EXPECT_FALSE(listener.end);
  // Who never had a connection has certainly sent nothing.
  Client unconnected(SettingsFor(servers, milliseconds(500)));
  EXPECT_EQ(unconnected.Put("b", "").result, HubResult::kUnavailable);
  // A watch that was begun before hears of it by the connection's keepalive.
  ASSERT_TRUE(connected.Events().Until([&] { return listener.end.has_value(); }));
  EXPECT_EQ(listener.end, HubResult::kUnavailable);
  std::printf("the watch ended after %d ms\n", Since(start));
  servers.Resume(0);
  EXPECT_TRUE(connected.Reach());
  EXPECT_TRUE(unconnected.Reach());
  EXPECT_EQ(unconnected.Value("b"), "<absent>");
}

TEST(EtcdFaults, AFullHubTakesDeletesAlone) {
  Servers servers({1, {"--quota-backend-bytes=4194304"}});
  Client client(SettingsFor(servers));
  const auto fill = [&client](int i) {
    return client.Put("k" + std::to_string(i), std::string(500'000, 'v')).result;
  };
  int written = 0;
  HubResult result = HubResult::kDone;
  while (result == HubResult::kDone && written < 100) result = fill(++written);
  EXPECT_EQ(result, HubResult::kFull);
  EXPECT_EQ(client.Put("small", "").result, HubResult::kFull);
  EXPECT_EQ(client.Value("k1").size(), 500'000U);
  Revision last = 0;
  for (int i = 1; i < written; ++i) {
    const Sync::TransactionAnswer answer = client.Delete("k" + std::to_string(i));
    EXPECT_EQ(answer.result, HubResult::kDone);
    last = answer.revision;
  }
  servers.Control({"compaction", "--physical", std::to_string(last)});
  servers.Control({"defrag"});
  servers.Control({"alarm", "disarm"});
  EXPECT_EQ(fill(0), HubResult::kDone);
}

class EtcdCluster : public testing::Test {
 protected:
  Servers servers_{{3}};
};

TEST_F(EtcdCluster, GoesOnWithoutItsLeaderAndWithAMemberStopped) {
  Client client(SettingsFor(servers_, seconds(1)));
  ASSERT_TRUE(PutOnce(client, "first"));
  LastingWatch watch(client, client.Get({"first"}).entries.at(0).modified);
  std::string expected = "+first=value";
  const auto write = [&](const std::string& key, int count) {
    for (int i = 0; i < count; ++i) {
      ASSERT_TRUE(PutOnce(client, key + std::to_string(i)));
      expected += " +" + key + std::to_string(i) + "=value";
    }
  };
  for (const std::string round : {"k", "l"}) {
    const size_t leader = servers_.Leader();
    servers_.Kill(leader);
    const auto killed = Clock::now();
    write(round, 1);
    std::printf("written %d ms after the leader was killed\n", Since(killed));
    write(round + "x", 20);
    servers_.Start(leader);
    write(round + "y", 20);
  }
  const size_t stopped = servers_.Leader();
  servers_.Pause(stopped);
  const auto paused = Clock::now();
  write("p", 1);
  std::printf("written %d ms after the leader was stopped\n", Since(paused));
  // Wherever a device begins, it finds a member that answers.
  for (int i = 0; i < 4; ++i) EXPECT_EQ(Client(SettingsFor(servers_, seconds(1))).Reach(), true);
  servers_.Resume(stopped);
  write("q", 5);
  ASSERT_TRUE(client.Events().Until([&] { return watch.Text().size() >= expected.size(); }));
  EXPECT_EQ(watch.Text(), expected);
}

TEST_F(EtcdCluster, WithoutAMajorityIsUnavailable) {
  ClusterSettings settings = SettingsFor(servers_, seconds(1));
  const size_t left = servers_.Leader();
  settings.endpoints = {servers_.Endpoints()[left]};
  Client client(settings);
  ASSERT_TRUE(PutOnce(client, "a"));
  Listener listener;
  const auto watch = client.Hub().StartWatch("a", "b", 0, listener);
  ASSERT_TRUE(client.Events().Until([&] { return listener.started; }));
  const auto start = Clock::now();
  for (size_t i = 0; i < 3; ++i) {
    if (i != left) servers_.Kill(i);
  }
  // The connection stands: that the member has no leader is what ends it.
  ASSERT_TRUE(client.Events().Until([&] { return listener.end.has_value(); }));
  EXPECT_EQ(listener.end, HubResult::kUnavailable);
  std::printf("the watch ended after %d ms\n", Since(start));
  EXPECT_EQ(client.Range({"a", "b"}).result, HubResult::kUnavailable);
  EXPECT_EQ(client.Put("b", "").result, HubResult::kUnknown);
  for (size_t i = 0; i < 3; ++i) {
    if (i != left) servers_.Start(i);
  }
  EXPECT_TRUE(client.Reach());
}

}  // namespace
}  // namespace KORA::DistributedKv::Client::Etcd
