// Devices in processes of their own, over a real hub.
#include <gtest/gtest.h>

#include <csignal>
#include <fstream>

#include "contract/types.h"
#include "device_process.h"
#include "server.h"

namespace KORA::DistributedKv::Client::Cluster {
namespace {

using std::chrono::seconds;

constexpr const char* kOpen = "open auto 0";
constexpr const char* kAbsent = "27459592";
constexpr const char* kLease = "2000";
constexpr const char* kLongLease = "3600000";
// Two seconds and a half are due, and much less than the usual lease.
constexpr seconds kLeaseEnds(6);

// One hub for all tests; each has a name space of its own.
class Cluster : public testing::Test {
 protected:
  static void SetUpTestSuite() { servers_ = std::make_unique<Etcd::Servers>(); }
  static void TearDownTestSuite() { servers_.reset(); }

  DeviceProcess::Settings Settings() const {
    return {{"cluster.endpoints", servers_->Endpoints()[0]},
            {"cluster.namespace", testing::UnitTest::GetInstance()->current_test_info()->name()},
            {"cluster.timeout", "5000"},
            {"cluster.lease", kLease}};
  }
  std::unique_ptr<DeviceProcess> NewDevice(const std::string& name) {
    return std::make_unique<DeviceProcess>(name, folder_.Path(), Settings());
  }
  static bool HasIn(DeviceProcess& device, const std::string& records) {
    return Becomes([&] { return device.Ask("list") == records; });
  }
  // Whether the synchronisation with the device succeeded.
  static bool Sync(DeviceProcess& from, DeviceProcess& with, SyncMode mode) {
    EXPECT_EQ(from.Ask("sync " + std::to_string(static_cast<int>(mode)) + " 0 " + with.Id()), "0");
    const std::string result = from.Hear("synced ");
    EXPECT_EQ(result.substr(0, result.find('=')), "synced " + with.Id());
    return result.substr(result.find('=') + 1) == "done";
  }

  static inline std::unique_ptr<Etcd::Servers> servers_;
  const Etcd::TemporaryFolder folder_;
};

TEST_F(Cluster, ChangesCrossWithTheirWriterAndATransactionIsOneChange) {
  const auto one = NewDevice("one");
  const auto two = NewDevice("two");
  for (const auto& device : {&one, &two}) {
    ASSERT_EQ((*device)->Ask(kOpen), "0");
    (*device)->Ask("observe 2");
    (*device)->Ask("multi");
  }
  EXPECT_EQ(one->Ask("put a 1"), "0");
  EXPECT_EQ(two->Hear("change "), "change " + one->Id() + " +a");
  EXPECT_EQ(two->Ask("change a=2 b=1 c=1"), "0");
  EXPECT_EQ(one->Hear("change "), "change " + two->Id() + " +b +c ~a") << "and not its own";
  EXPECT_EQ(one->Ask("change b"), "0");
  EXPECT_EQ(two->Hear("change "), "change " + one->Id() + " -b");
  EXPECT_EQ(two->Ask("list"), "a=2 c=1 ");
  EXPECT_EQ(one->Ask("list"), "a=2 c=1 ");
  one->Ask("multi m");
  EXPECT_EQ(two->Hear("change "), "change " + one->Id() + " +m");
  EXPECT_EQ(two->Ask("get m"), kAbsent) << "it belongs to the store of the other kind";
  // Both stores at once.
  EXPECT_EQ(one->Ask("fill 3000"), "0");
  one->Ask("multi n");
  EXPECT_TRUE(Becomes([&] { return two->Ask("get key1") != kAbsent; }));
  EXPECT_EQ(two->Hear("change " + one->Id() + " +n"), "change " + one->Id() + " +n");
  EXPECT_EQ(one->End(), "");
}

TEST_F(Cluster, SyncBringsAndTakesWhatItsModeSays) {
  const auto one = NewDevice("one");
  const auto two = NewDevice("two");
  for (const auto& device : {&one, &two}) ASSERT_EQ((*device)->Ask("open manual 0"), "0");
  one->Ask("put a 1");
  two->Ask("devices 0");  // which waits until others can see it
  EXPECT_TRUE(Sync(*one, *two, SyncMode::PUSH));
  EXPECT_EQ(two->Ask("list"), "") << "nobody has asked it to";
  two->Ask("put b 1");
  EXPECT_TRUE(Sync(*two, *one, SyncMode::PULL));
  EXPECT_EQ(two->Ask("list"), "a=1 b=1 ");
  EXPECT_TRUE(Sync(*one, *two, SyncMode::PULL));
  EXPECT_EQ(one->Ask("list"), "a=1 ") << "a pull pushes nothing";
  EXPECT_TRUE(Sync(*two, *one, SyncMode::PUSH_PULL));
  EXPECT_TRUE(Sync(*one, *two, SyncMode::PUSH_PULL));
  EXPECT_EQ(one->Ask("list"), "a=1 b=1 ");
  // Each device once, whatever happens meanwhile.
  EXPECT_EQ(one->Ask("sync 2 60000 nobody nobody " + two->Id()), "0");
  EXPECT_EQ(one->Ask("close"), "0");
  EXPECT_EQ(one->Hear("synced "), "synced " + two->Id() + "=failed nobody=failed");
}

// What is deleted is not among what the hub has left.
TEST_F(Cluster, DeletesArriveThoughTheHubHasForgottenTheChanges) {
  const auto one = NewDevice("one");
  const auto two = NewDevice("two");
  for (const auto& device : {&one, &two}) ASSERT_EQ((*device)->Ask(kOpen), "0");
  one->Ask("change gone=1 kept=1");
  ASSERT_TRUE(HasIn(*two, "gone=1 kept=1 "));
  EXPECT_EQ(two->End(), "");
  one->Ask("change gone new=1");
  ASSERT_TRUE(Sync(*one, *one, SyncMode::PUSH));
  const std::string header = servers_->Control({"get", "any", "--write-out=fields"});
  const size_t revision = header.find(':', header.find("\"Revision\"")) + 1;
  servers_->Control({"compaction", std::to_string(std::stol(header.substr(revision)))});
  two->Start();
  ASSERT_EQ(two->Ask(kOpen), "0");
  EXPECT_TRUE(HasIn(*two, "kept=1 new=1 "));
}

TEST_F(Cluster, DevicesAreSeenComingAndGoing) {
  const auto one = NewDevice("one");
  EXPECT_EQ(one->Ask("listen"), "0");
  const auto two = NewDevice("two");
  two->Ask(kOpen);
  EXPECT_EQ(one->Hear("online"), "online two");
  EXPECT_EQ(one->Ask("devices 0"), "two/test ");
  EXPECT_EQ(two->Ask("devices 1"), "one/test ");
  two->Id();
  two->Kill();
  EXPECT_EQ(one->Hear("offline", kLeaseEnds), "offline two");
  EXPECT_EQ(one->Ask("devices 0"), "");
  EXPECT_EQ(one->Ask("devices 1"), "two/test ");
  one->Ask(kOpen);
  EXPECT_FALSE(Sync(*one, *two, SyncMode::PUSH_PULL)) << "it is offline";
  // Who ends in the ordinary way is gone at once.
  two->Start();
  EXPECT_EQ(two->Ask("devices 0"), "one/test ");
  EXPECT_EQ(one->Hear("online"), "online two");
  DeviceProcess::Settings settings = Settings();
  settings["cluster.lease"] = kLongLease;
  DeviceProcess second("two", folder_.Path(), settings);
  EXPECT_EQ(second.Ask("devices 0"), "one/test ");
  EXPECT_EQ(second.End(), "");
  EXPECT_EQ(one->Hear("offline"), "offline two");
  EXPECT_EQ(one->Hear("online"), "online two") << "its first process is there";
  EXPECT_EQ(two->End(), "");
  EXPECT_EQ(one->Hear("offline"), "offline two");
}

TEST_F(Cluster, LabelsAndLevelsDecideWhatIsTaken) {
  const auto one = NewDevice("one");
  const auto two = NewDevice("two");
  const auto high = NewDevice("high");
  for (const auto& device : {&one, &two}) ASSERT_EQ((*device)->Ask(kOpen), "0");
  ASSERT_EQ(high->Ask("open auto 3"), "0");
  two->Ask("labels on green red");
  high->Ask("put secret 1");
  one->Ask("put a 1");
  EXPECT_TRUE(HasIn(*high, "a=1 secret=1 "));
  two->Ask("put b 1");
  EXPECT_TRUE(HasIn(*one, "a=1 b=1 ")) << "and nothing of a higher level";
  EXPECT_EQ(two->Ask("list"), "b=1 ") << "nobody bears the label";
  one->Ask("labels on red green");
  one->Ask("put c 1");
  EXPECT_TRUE(HasIn(*two, "a=1 b=1 c=1 ")) << "what was passed over is fetched";
}

TEST_F(Cluster, RemovedDataStaysAwayUntilItsDeviceWritesItAnew) {
  const auto one = NewDevice("one");
  const auto two = NewDevice("two");
  for (const auto& device : {&one, &two}) ASSERT_EQ((*device)->Ask(kOpen), "0");
  one->Ask("change a=1 b=1");
  ASSERT_TRUE(HasIn(*two, "a=1 b=1 "));
  two->Ask("put own 1");
  EXPECT_EQ(two->Ask("remove " + one->Id()), "0");
  EXPECT_EQ(two->Ask("list"), "own=1 ");
  two->Ask("close");
  two->Ask(kOpen);
  one->Ask("put b 2");
  EXPECT_TRUE(HasIn(*two, "b=2 own=1 "));
  EXPECT_TRUE(HasIn(*one, "a=1 b=2 own=1 ")) << "where it was written it stays";
}

TEST_F(Cluster, WithoutAHubAllGoesOnAndComesTogetherLater) {
  Etcd::Servers servers;
  DeviceProcess::Settings settings = Settings();
  settings["cluster.endpoints"] = servers.Endpoints()[0];
  settings["cluster.timeout"] = "2000";
  settings["cluster.death.after"] = "4000";
  servers.Kill(0);
  DeviceProcess one("one", folder_.Path(), settings);
  DeviceProcess two("two", folder_.Path(), settings);
  for (DeviceProcess* device : {&one, &two}) {
    ASSERT_EQ(device->Ask(kOpen), "0");
    device->Ask("mourn");
    device->Ask("observe 2");
  }
  EXPECT_EQ(one.Ask("put a 1"), "0");
  EXPECT_FALSE(Sync(one, two, SyncMode::PUSH_PULL));
  servers.Start(0);
  EXPECT_EQ(two.Hear("change "), "change " + one.Id() + " +a");
  ASSERT_TRUE(Becomes([&] { return two.Ask("devices 0") == "one/test "; }));
  EXPECT_EQ(two.Hear("died", seconds(0)), "") << "what was never there has not died";
  // A loss is told once. What was registered goes with it, and is told once when it is registered again.
  servers.Kill(0);
  EXPECT_EQ(two.Hear("died"), "died");
  EXPECT_EQ(two.Ask("observe 2"), "0");
  EXPECT_EQ(one.Ask("put b 1"), "0");
  servers.Start(0);
  EXPECT_EQ(two.Hear("change "), "change " + one.Id() + " +b");
  EXPECT_EQ(two.Ask("put c 1"), "0");
  EXPECT_TRUE(HasIn(one, "a=1 b=1 c=1 "));
  EXPECT_EQ(two.Hear("change ", seconds(0)), "");
  EXPECT_EQ(two.Hear("died", seconds(0)), "");
  // One that hangs holds up neither a store that is closed nor the end of a process.
  servers.Pause(0);
  one.Ask("sync 2 0 " + two.Id());
  EXPECT_EQ(one.Ask("close"), "0");
  EXPECT_EQ(one.Hear("synced "), "synced " + two.Id() + "=failed");
  EXPECT_EQ(one.End(), "");
}

TEST_F(Cluster, WithoutItsHubADeviceWorksAndSaysWhatIsWrong) {
  const Etcd::Servers guarded({1, {"--bcrypt-cost=4"}, "http", {"--user=root:right"}});
  for (const Etcd::Arguments& command :
       std::vector<Etcd::Arguments>{{"--user=", "user", "add", "root:right"},
                                    {"--user=", "user", "grant-role", "root", "root"},
                                    {"--user=", "auth", "enable"}}) {
    guarded.Control(command);
  }
  // Found before the library of this name.
  std::ofstream(folder_.Path() / "libkora_data_etcd.so") << "not a library";
  struct Case {
    std::string name;
    DeviceProcess::Settings settings;
    std::string reason;
  };
  const std::vector<Case> cases = {
      {"nobody listens", {{"cluster.endpoints", "127.0.0.1:1"}}, "hub unavailable"},
      {"wrong password",
       {{"cluster.endpoints", guarded.Endpoints()[0]}, {"cluster.user", "root"}, {"cluster.password", "no"}},
       "denied"},
      {"no library", Settings(), "the library for etcd can't be loaded: "}};
  for (const Case& each : cases) {
    DeviceProcess device(each.name, folder_.Path(), each.settings,
                         each.name == "no library" ? folder_.Path() : "");
    EXPECT_EQ(device.Ask(kOpen), "0");
    EXPECT_EQ(device.Ask("put a 1"), "0");
    EXPECT_EQ(device.Ask("sync 2 0 other"), "0");
    EXPECT_EQ(device.Hear("synced "), "synced other=failed");
    EXPECT_EQ(device.Ask("list"), "a=1 ");
    EXPECT_NE(device.Log().find("with device other: " + each.reason), std::string::npos) << device.Log();
  }
}

TEST_F(Cluster, WhoHasNoHubLoadsNothingForIt) {
  DeviceProcess alone("alone", folder_.Path(), {});
  EXPECT_EQ(alone.Ask(kOpen), "0");
  EXPECT_EQ(alone.Ask("put a 1"), "0");
  EXPECT_EQ(alone.Ask("devices 0"), "");
  EXPECT_EQ(alone.Ask("sync 2 0 other"), "0");
  EXPECT_EQ(alone.Hear("synced "), "synced other=failed");
  EXPECT_EQ(alone.Ask("libraries"), "0");
  const auto one = NewDevice("one");
  one->Ask("devices 0");
  EXPECT_NE(one->Ask("libraries"), "0");
}

}  // namespace
}  // namespace KORA::DistributedKv::Client::Cluster
