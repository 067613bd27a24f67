#include <gtest/gtest.h>

#include <algorithm>

#include "sim_hub.h"
#include "sim_replica.h"
#include "sync/presence.h"
#include "sync/store_sync.h"

namespace KORA::DistributedKv::Client::Sync {
namespace {

constexpr Moment kStart = 1'700'000'000'000;

TEST(HubLayoutTest, Record) {
  HubRecord record;
  record.content = {{0x0102030405060708, "dev"}, false, "value"};
  record.pushed = 0x1112131415161718;
  const std::string bytes = Encode(record);
  EXPECT_EQ(bytes, std::string("\x01\x00\x01\x02\x03\x04\x05\x06\x07\x08\x11\x12\x13\x14\x15\x16\x17\x18"
                               "\x00\x00\x00\x03"
                               "devvalue",
                               30));
  const auto parsed = ParseRecord(bytes);
  ASSERT_TRUE(parsed);
  EXPECT_EQ(Judge(parsed->content, record.content), Verdict::kSame);
  EXPECT_EQ(parsed->pushed, record.pushed);

  for (size_t size = 0; size < 25; ++size) EXPECT_FALSE(ParseRecord(bytes.substr(0, size))) << size;
  EXPECT_FALSE(ParseRecord("\x02" + bytes.substr(1)));
  // A version that would bring every clock to its end.
  EXPECT_FALSE(ParseRecord(bytes.substr(0, 2) + "\xff" + bytes.substr(3)));
}

TEST(HubLayoutTest, MarkersAndStatesThatAreDamagedAreRefused) {
  const std::string marker = Encode(Marker{7, 8, -1, {"a", "b"}});
  ASSERT_TRUE(ParseMarker(marker));
  EXPECT_EQ(ParseMarker(marker)->labels, (std::vector<std::string>{"a", "b"}));
  EXPECT_EQ(ParseMarker(marker)->securityLevel, -1);
  SyncState state;
  state.position = 5;
  state.peers["one"] = {marker, 3, 4, 2};
  const std::string stored = Encode(state);
  EXPECT_EQ(Encode(*ParseState(stored)), stored);
  for (size_t size = 1; size < marker.size(); ++size)
    EXPECT_FALSE(ParseMarker(marker.substr(0, size))) << size;
  for (size_t cut = 1; cut < 28; ++cut)
    EXPECT_FALSE(ParseState(stored.substr(0, stored.size() - cut))) << cut;
  EXPECT_EQ(ParseState("")->position, 0);
}

TEST(HubLayoutTest, Keys) {
  const StoreKeys keys("space/app/store/");
  const Stamp stamp{0xabc, "device"};
  const std::string part = keys.Part("a/b", stamp, 3);
  EXPECT_EQ(part, "space/app/store/c/device/0000000000000abc/03/a/b");
  const auto name = ParsePartKey(keys.Parts(), part);
  ASSERT_TRUE(name);
  EXPECT_EQ(name->key, "a/b");
  EXPECT_EQ(name->stamp, stamp);
  EXPECT_FALSE(ParsePartKey(keys.Parts(), keys.Parts() + "device/12/a"));
  EXPECT_EQ(RangeOfPrefix("a\xff").end, "b");
}

TEST(ConflictTest, TheNewerWinsThenTheGreaterDeviceThenTheBytes) {
  const Content base{{5, "b"}, false, "v"};
  EXPECT_EQ(Judge(base, base), Verdict::kSame);
  for (const Content& winner : {Content{{6, "a"}, true, ""}, Content{{5, "c"}, false, "a"},
                                Content{{5, "b"}, false, "w"}, Content{{5, "b"}, true, ""}}) {
    EXPECT_EQ(Judge(base, winner), Verdict::kTake);
    EXPECT_EQ(Judge(winner, base), Verdict::kKeep);
  }
}

// Devices over lines without faults.
class SyncTest : public testing::Test {
 protected:
  struct Device : public Directory {
    Device(SyncTest& test, const std::string& deviceName, const AdmissionRules& rules, bool continuous = true)
        : name(deviceName),
          line(test.hub_, test.schedule_, test.random_),
          replica(deviceName, [&test] { return kStart + test.schedule_.Now(); }),
          sync(line, replica, timers, *this, MakeOptions(deviceName, rules, continuous)) {
      EXPECT_EQ(sync.Start(), Status::SUCCESS);
    }
    static StoreSyncOptions MakeOptions(const std::string& deviceName, const AdmissionRules& rules,
                                        bool continuous) {
      StoreSyncOptions options;
      options.root = "space/app/store/";
      options.device = deviceName;
      options.rules = rules;
      options.continuous = continuous;
      return options;
    }
    Whereabouts Find(const std::string& other) const override {
      if (other == "off") return Whereabouts::kOffline;
      return other == "nobody" ? Whereabouts::kUnknown : Whereabouts::kOnline;
    }
    void Write(const std::vector<DeviceReplica::Change>& changes) {
      replica.Write(changes);
      sync.OnCommit();
    }
    // "-": not there or deleted.
    std::string Get(const std::string& key) const {
      const auto found = replica.Records().find(key);
      return found == replica.Records().end() || found->second.deleted ? "-" : found->second.value;
    }

    const std::string name;
    Timers timers;
    SimLine line;
    SimReplica replica;
    StoreSync sync;
  };

  Device& Add(const std::string& name, const AdmissionRules& rules = {}, bool continuous = true) {
    devices_.push_back(std::make_unique<Device>(*this, name, rules, continuous));
    Run(1000);
    return *devices_.back();
  }

  void Run(Moment milliseconds) {
    const Moment end = schedule_.Now() + milliseconds;
    while (schedule_.Now() < end) Turn(end);
  }

  void Turn(Moment end) {
    Moment next = std::min(end, schedule_.Next());
    for (const auto& device : devices_) next = std::min(next, device->timers.Next().value_or(end));
    if (presenceTimers_.Next()) next = std::min(next, *presenceTimers_.Next());
    schedule_.Step(std::max(next, schedule_.Now()));
    for (const auto& device : devices_) device->timers.Advance(schedule_.Now());
    presenceTimers_.Advance(schedule_.Now());
  }

  size_t CountParts() {
    const KeyRange parts = RangeOfPrefix(StoreKeys("space/app/store/").Parts());
    return hub_.Range({parts.begin, parts.end}).entries.size();
  }

  static AdmissionRules Labels(const std::set<std::string>& local, const std::set<std::string>& remote) {
    AdmissionRules rules;
    rules.labels = true;
    rules.local = local;
    rules.remote = remote;
    return rules;
  }

  Schedule schedule_;
  Random random_{1};
  SimHub hub_{schedule_};
  std::vector<std::unique_ptr<Device>> devices_;
  Timers presenceTimers_;
};

TEST_F(SyncTest, LargeValuesTravelInPartsThatGoWithThem) {
  Device& one = Add("one");
  Device& two = Add("two");
  std::string value(4 * kPartSize, 'x');
  value += "end";
  one.Write({{"small", "s"}, {"large", value}, {"other", value + "2"}});
  Run(2000);
  EXPECT_EQ(two.Get("small"), "s");
  EXPECT_TRUE(two.Get("large") == value);
  EXPECT_TRUE(two.Get("other") == value + "2");

  const StoreKeys keys("space/app/store/");
  constexpr Moment kHour = Moment{3600} * 1000;
  EXPECT_EQ(CountParts(), 10U);
  Run(6 * kHour);
  EXPECT_EQ(CountParts(), 10U);
  // Those of what was replaced need no time; of records of a later format nothing is known.
  one.Write({{"large", "short"}, {"other", std::nullopt}});
  Run(kHour);
  const Stamp older{ToVersion(kStart), "one"};
  const Stamp newer{ToVersion(kStart + schedule_.Now()), "one"};
  hub_.Commit({{},
               {{keys.Record("later"), "\x7f"},
                {keys.Part("later", older, 0), "part"},
                {keys.Part("large", newer, 0), "of what is about to be written"}}});
  hub_.SetFull(true);
  Run(5 * kHour);
  EXPECT_EQ(two.Get("large"), "short");
  EXPECT_EQ(CountParts(), 2U);
  Run(20 * kHour);
  EXPECT_EQ(CountParts(), 1U);
}

// The call is answered before the round has come to its end.
TEST_F(SyncTest, UpkeepIsDoneForStoresThatAreSynchronisedByCallsAlone) {
  Device& one = Add("one", {}, false);
  Device& two = Add("two", {}, false);
  const auto sync = [this](Device& device) {
    device.sync.Sync({}, SyncMode::kPushPull, 0, 60'000, [](const auto&) {});
    Run(2000);
    EXPECT_FALSE(device.sync.IsInStep()) << "the connection ends";
    return CountParts();
  };
  const auto replace = [&] {
    one.replica.Write({{"large", std::string(2 * kPartSize, 'x')}});
    EXPECT_EQ(sync(one), 2U);
    one.replica.Write({{"large", "short"}});
    EXPECT_EQ(sync(one), 2U);
  };
  replace();
  EXPECT_EQ(sync(two), 0U) << "the first round of a process";
  replace();
  Run(Moment{6} * 3600 * 1000);
  EXPECT_EQ(sync(one), 0U);
}

TEST_F(SyncTest, JoiningTakesFewLargeValuesAtOnce) {
  Device& one = Add("one");
  const std::string value(3 * kPartSize, 'x');
  for (char key = 'a'; key < 'i'; ++key) one.Write({{std::string(1, key), value}});
  Run(5000);
  Device& two = Add("two");
  EXPECT_EQ(two.replica.Records().size(), 8U);
  EXPECT_LE(two.replica.LargestMerge(), 3 * value.size());
}

// No request may take longer than one part of a value does.
TEST_F(SyncTest, ASlowLineIsEnoughToJoin) {
  Device& one = Add("one");
  for (int i = 0; i < 100; ++i) one.Write({{"inline" + std::to_string(i), std::string(kInlineSize, 'x')}});
  one.Write({{"large", std::string(4 * kPartSize, 'x')}});
  Run(20'000);
  hub_.Compact(hub_.Newest());
  Device& two = Add("two", {}, false);
  two.line.Faults().maxAnswer = kPartSize + 1000;
  two.sync.Sync({}, SyncMode::kPull, 0, 60'000, [](const auto&) {});
  Run(20'000);
  EXPECT_EQ(two.replica.Records().size(), 101U);
}

// The thread is that of all stores.
TEST_F(SyncTest, DeliveriesKeepNobodyWaitingAndWaitForRoom) {
  Device& one = Add("one");
  Device& two = Add("two");
  two.replica.SetSlow(true);
  for (int i = 0; i < 5; ++i) {
    one.Write({{std::to_string(i), "v"}});
    Run(500);
  }
  EXPECT_EQ(two.replica.Records().size(), 0U);
  one.Write({{"last", "v"}});
  Run(2000);
  two.replica.SetSlow(false);
  size_t before = 0;
  for (int turn = 0; two.Get("last") == "-" && turn < 100; ++turn) {
    two.timers.Advance(schedule_.Now() + 10);
    EXPECT_LE(two.replica.Records().size(), before + 1);
    before = two.replica.Records().size();
  }
  EXPECT_EQ(two.Get("last"), "v");
}

TEST_F(SyncTest, WhatWasOvertakenIsPassedOverInSlices) {
  Device& one = Add("one");
  Device& two = Add("two");
  one.line.SetUp(false);
  for (int i = 0; i < 20'000; ++i) one.Write({{"key", std::to_string(i)}});
  one.line.SetUp(true);
  const auto logged = [&one] {
    std::vector<LogEntry> entries;
    EXPECT_EQ(one.replica.Log(0, SIZE_MAX, entries), Status::SUCCESS);
    return entries.size();
  };
  const Moment end = schedule_.Now() + 20'000;
  for (size_t before = logged(); schedule_.Now() < end && before > 0;) {
    Turn(end);
    const size_t left = logged();
    ASSERT_LE(before - left, 1024U);
    before = left;
  }
  Run(1000);
  EXPECT_EQ(two.Get("key"), "19999");
}

TEST_F(SyncTest, ACommitLargerThanATransactionArrivesWhole) {
  Device& one = Add("one");
  Device& two = Add("two");
  std::vector<DeviceReplica::Change> changes;
  for (size_t i = 0; i < 3 * kMaxOperations; ++i) changes.emplace_back("key" + std::to_string(i), "v");
  for (size_t i = 0; i < 40; ++i)
    changes.emplace_back("wide" + std::to_string(i), std::string(kInlineSize, 'w'));
  one.Write(changes);
  Run(5000);
  EXPECT_EQ(two.replica.Records().size(), changes.size());
}

// However many wait, and wherever a transaction is full.
TEST_F(SyncTest, CommitsAreSeenWhole) {
  Device& one = Add("one");
  Device& two = Add("two");
  one.line.SetUp(false);
  constexpr int kCommits = 90;
  constexpr int kKeys = 5;
  const auto name = [](int commit, int key) { return std::to_string(commit) + "/" + std::to_string(key); };
  for (int commit = 0; commit < kCommits; ++commit) {
    std::vector<DeviceReplica::Change> changes;
    changes.reserve(kKeys);
    for (int key = 0; key < kKeys; ++key) changes.emplace_back(name(commit, key), "v");
    one.Write(changes);
  }
  one.line.SetUp(true);
  int steps = 0;
  for (; two.Get(name(kCommits - 1, 0)) == "-" && steps < 100'000; ++steps) {
    Run(1);
    for (int commit = 0; commit < kCommits; ++commit) {
      const std::string first = two.Get(name(commit, 0));
      for (int key = 1; key < kKeys; ++key) ASSERT_EQ(two.Get(name(commit, key)), first) << commit;
    }
  }
  EXPECT_EQ(two.Get(name(kCommits - 1, 0)), "v");
}

// The hub is read, then the push arrives there and leaves the log, then the replica is looked through.
TEST_F(SyncTest, WhatIsPushedDuringAComparisonIsNotTakenForDeleted) {
  Device& one = Add("one");
  one.line.Faults().delay = 30;
  for (int i = 0; i < 40; ++i) {
    const std::string key = std::to_string(i);
    one.Write({{key, "v"}});
    Run(static_cast<Moment>(i));
    AdmissionRules others;  // but of no effect
    others.remote = {key};
    one.sync.SetRules(others);
    for (int ms = 0; ms < 300; ++ms) {
      Run(1);
      ASSERT_EQ(one.Get(key), "v") << i;
    }
  }
}

// The first commit has nothing left to push, and the second one is larger than a transaction.
TEST_F(SyncTest, ALargeCommitIsPushedBehindWhatItOvertook) {
  Device& one = Add("one");
  Device& two = Add("two");
  one.line.SetUp(false);
  one.Write({{"key0", "old"}});
  std::vector<DeviceReplica::Change> changes;
  for (size_t i = 0; i < kMaxOperations + 40; ++i) changes.emplace_back("key" + std::to_string(i), "v");
  one.Write(changes);
  one.line.SetUp(true);
  Run(20'000);
  EXPECT_EQ(two.replica.Records().size(), changes.size());
  EXPECT_EQ(two.Get("key0"), "v");
}

TEST(TimersTest, WhatGoesOnAtOnceWaitsForTheNextTurn) {
  Timers timers;
  int steps = 0;
  const std::function<void()> step = [&] {
    if (++steps < 100) timers.After(0, step);
  };
  timers.After(0, step);
  timers.Advance(5);
  EXPECT_EQ(steps, 1);
  EXPECT_LE(*timers.Next(), 5U);
  timers.Advance(5);
  EXPECT_EQ(steps, 2);
}

// A device that was away for longer than they live goes by what the hub has.
TEST_F(SyncTest, TombstonesLiveAMonthFromTheirPushAndDoNotComeBack) {
  constexpr Moment kDay = Moment{24} * 3600 * 1000;
  Device& one = Add("one");
  Device& two = Add("two");
  one.Write({{"key", "v"}});
  Run(1000);
  EXPECT_EQ(two.Get("key"), "v");
  one.line.SetUp(false);
  two.line.SetUp(false);
  one.Write({{"key", std::nullopt}});
  Run(31 * kDay);
  one.line.SetUp(true);
  const auto onHub = [this] {
    const KeyRange records = RangeOfPrefix(StoreKeys("space/app/store/").Records());
    return hub_.Range({records.begin, records.end}).entries.size();
  };
  Run(2 * kDay);
  EXPECT_EQ(onHub(), 1U);
  Run(30 * kDay);
  EXPECT_EQ(onHub(), 0U);
  EXPECT_EQ(one.replica.Records().size(), 0U);
  hub_.Compact(hub_.Newest());
  two.line.SetUp(true);
  Run(kDay);
  EXPECT_EQ(two.Get("key"), "-");
  EXPECT_EQ(onHub(), 0U);
}

// Before a store joined, nothing was logged.
TEST_F(SyncTest, WhatWasWrittenBeforeTheStoreJoinedIsPushed) {
  Device& two = Add("two");
  two.Write({{"both", "later"}});
  Run(1000);
  Device& one = Add("one", {}, false);
  one.replica.Write({{"old", "1"}, {"deleted", std::nullopt}});
  one.replica.CutLog(one.replica.LogEnd(), "");
  one.sync.Sync({"two"}, SyncMode::kPushPull, 0, 60'000, [](const auto&) {});
  Run(2000);
  EXPECT_EQ(one.Get("old") + two.Get("old") + one.Get("both"), "11later");
}

TEST_F(SyncTest, LabelsAndSecurityLevelsRestrictWhoseDataIsTaken) {
  AdmissionRules secret;
  secret.securityLevel = 3;
  Device& plain = Add("plain");
  Device& red = Add("red", Labels({"red"}, {"blue"}));
  Device& blue = Add("blue", Labels({"blue"}, {"red"}));
  Device& high = Add("high", secret);
  for (Device* device : {&plain, &red, &blue, &high}) device->Write({{device->name, device->name}});
  Run(3000);
  const auto has = [](const Device& device) {
    return device.Get("plain") + " " + device.Get("red") + " " + device.Get("blue") + " " +
           device.Get("high");
  };
  EXPECT_EQ(has(plain), "plain red blue -");
  EXPECT_EQ(has(red), "- red blue -");
  EXPECT_EQ(has(blue), "- red blue -");
  EXPECT_EQ(has(high), "plain red blue high");

  // What was passed over comes when the rules allow it.
  red.sync.SetRules({});
  plain.sync.SetRules(Labels({"red"}, {"blue"}));
  Run(3000);
  EXPECT_EQ(has(red), "plain red blue -");
  EXPECT_EQ(has(blue), "plain red blue -");
  // Red bears no label any more.
  red.Write({{"red", "again"}});
  Run(3000);
  EXPECT_EQ(has(plain), "plain red blue -");
  EXPECT_EQ(has(blue), "plain red blue -");
}

TEST_F(SyncTest, RemovedDataComesBackOnlyWhenItsDeviceWritesAgain) {
  Device& one = Add("one");
  Device& two = Add("two");
  two.Write({{"a", "1"}, {"b", "1"}});
  one.Write({{"c", "mine"}});
  Run(1000);
  EXPECT_EQ(one.sync.RemoveDeviceData("one"), Status::INVALID_ARGUMENT);
  EXPECT_EQ(one.sync.RemoveDeviceData("two"), Status::SUCCESS);
  EXPECT_EQ(one.Get("a") + one.Get("b") + one.Get("c"), "--mine");
  hub_.Compact(hub_.Newest());
  one.line.SetUp(false);
  Run(100'000);
  one.line.SetUp(true);
  Run(100'000);
  EXPECT_EQ(one.Get("a") + one.Get("b") + one.Get("c"), "--mine");
  two.Write({{"b", "2"}});
  Run(1000);
  EXPECT_EQ(one.Get("a") + one.Get("b") + two.Get("c"), "-2mine");
}

// Else the hub would be another one for this device when it starts next.
TEST_F(SyncTest, NothingIsPushedUnderNoNumber) {
  Device& one = Add("one");
  one.Write({{"key", "1"}});
  Run(1000);
  one.replica.SetBroken(true);
  one.Write({{"key", "2"}});
  Run(1000);
  const auto marker = hub_.Get({StoreKeys("space/app/store/").Marker("one")}).entries.at(0);
  EXPECT_NE(ParseMarker(marker.value)->number, 0U);
  one.replica.SetBroken(false);
  Run(10'000);
  EXPECT_EQ(Add("two").Get("key"), "2");
}

TEST_F(SyncTest, AnHourOfWrongTimeDoesNoLastingHarm) {
  Device& one = Add("one");
  Device& two = Add("two");
  // As a clock that is an hour ahead would have written it.
  Group ahead;
  ahead.newest = ToVersion(kStart + 3'600'000);
  ahead.state = one.replica.State();
  ASSERT_EQ(one.replica.Merge(ahead), Status::SUCCESS);
  one.Write({{"key", "ahead"}});
  Run(1000);
  two.Write({{"key", "right"}});
  Run(1000);
  EXPECT_EQ(one.Get("key"), "right");
}

// What a call was answered, as text.
std::string ToText(const SyncResults& results) {
  std::string text;
  for (const auto& [device, result] : results) text += device + ":" + NameOf(result) + " ";
  return text;
}

TEST_F(SyncTest, CallsAreMergedAndEachIsAnsweredOnce) {
  Device& one = Add("one", {}, false);
  Add("two");
  one.replica.Write({{"key", "v"}});
  std::vector<std::string> answers;
  const auto note = [&](const SyncResults& results) {
    answers.push_back(std::to_string(schedule_.Now() / 1000) + "s " + ToText(results));
  };
  const Moment start = schedule_.Now() / 1000;
  one.sync.Sync({"two", "two", "off", "nobody"}, SyncMode::kPush, 10'000, 5000, note);
  one.sync.Sync({"two"}, SyncMode::kPull, 3000, 5000, note);
  Run(2000);
  EXPECT_TRUE(answers.empty());
  Run(3000);
  std::sort(answers.begin(), answers.end());
  const std::string at = std::to_string(start + 3) + "s ";
  EXPECT_EQ(answers,
            (std::vector<std::string>{at + "nobody:unknown device off:offline two:done ", at + "two:done "}));
  EXPECT_EQ(devices_[1]->Get("key"), "v");
  Run(20'000);
  EXPECT_EQ(answers.size(), 2U);
}

TEST_F(SyncTest, CallsThatFailSayWhy) {
  struct Case {
    const char* name;
    std::function<void(Device&)> spoil;
    Moment timeout;
    std::string reason;
  };
  const std::vector<Case> cases = {
      {"nothing", [](Device&) {}, 60'000, ""},
      {"line down", [](Device& device) { device.line.SetUp(false); }, 60'000, "hub unavailable"},
      {"too slow", [](Device& device) { device.line.Faults().delay = 60'000; }, 10, "time-out"},
      {"full", [this](Device&) { hub_.SetFull(true); }, 60'000, "full"},
      {"disk full", [](Device& device) { device.replica.SetBroken(true); }, 60'000, "the store failed"},
      {"closed", [](Device& device) { device.sync.Close(); }, 60'000, "closed"},
  };
  for (const Case& each : cases) {
    hub_.SetFull(false);
    Device& device = Add(std::string("device ") + each.name, {}, false);
    device.replica.Write({{"key", each.name}});
    std::vector<std::string> answers;
    device.sync.Sync({"two", "nobody"}, SyncMode::kPushPull, 0, each.timeout,
                     [&](const SyncResults& results) { answers.push_back(ToText(results)); });
    each.spoil(device);
    Run(70'000);
    const std::string answer = each.reason.empty() ? "nobody:unknown device two:done "
                                                   : "nobody:" + each.reason + " two:" + each.reason + ' ';
    EXPECT_EQ(answers, std::vector<std::string>{answer}) << each.name;
  }
}

TEST_F(SyncTest, PresenceFollowsLeases) {
  std::string seen;
  SimLine oneLine(hub_, schedule_, random_);
  SimLine twoLine(hub_, schedule_, random_);
  const auto options = [](const std::string& device) {
    return PresenceOptions{"space", device, {"name of " + device, "test"}};
  };
  Presence one(oneLine, presenceTimers_, options("one"),
               [&](const std::string& device, const DeviceDescription& description, bool online) {
                 seen += (online ? "+" : "-") + device + "(" + description.name + ") ";
               });
  const auto two = std::make_unique<Presence>(twoLine, presenceTimers_, options("two"), [](auto&&...) {});
  one.Start();
  two->Start();
  Run(30'000);
  EXPECT_EQ(seen, "+two(name of two) ");
  EXPECT_EQ(one.Find("one"), Whereabouts::kOnline);
  EXPECT_EQ(one.Find("nobody"), Whereabouts::kUnknown);

  twoLine.SetUp(false);
  Run(6000);
  EXPECT_EQ(two->Find("one"), Whereabouts::kOnline) << "for as long as a lease lasts";
  Run(20'000);
  EXPECT_EQ(seen, "+two(name of two) -two(name of two) ");
  EXPECT_EQ(one.Find("two"), Whereabouts::kOffline);
  EXPECT_EQ(two->Find("one"), Whereabouts::kOffline);

  twoLine.SetUp(true);
  Run(10'000);
  EXPECT_EQ(one.Find("two"), Whereabouts::kOnline);
  EXPECT_EQ(two->Find("one"), Whereabouts::kOnline);
  two->Close();
  Run(1000);
  EXPECT_EQ(one.Find("two"), Whereabouts::kOffline);
  one.Close();
}

TEST_F(SyncTest, AHubThatRefusesADeviceIsNotFloodedByIt) {
  SimLine line(hub_, schedule_, random_);
  std::vector<HubResult> contacts;
  Presence presence(
      line, presenceTimers_, {"space", "one", {}}, [](auto&&...) {},
      [&](HubResult result) { contacts.push_back(result); });
  hub_.SetFull(true);
  presence.Start();
  for (int second = 0; second < 60; ++second) {
    Run(1000);
    EXPECT_LE(hub_.Leases(), 1U);
  }
  EXPECT_EQ(contacts, std::vector<HubResult>(7, HubResult::kFull));
  hub_.SetFull(false);
  Run(60'000);
  EXPECT_EQ(contacts.back(), HubResult::kDone);
  presence.Close();
}

}  // namespace
}  // namespace KORA::DistributedKv::Client::Sync
