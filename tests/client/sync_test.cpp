#include "sync/sync_settings.h"

#include <limits>
#include <map>

#include "cluster/sync_request.h"
#include "engine/engine.h"
#include "notify/callback_queue.h"
#include "store/record.h"
#include "store/single_store.h"
#include "support.h"

namespace KORA::DistributedKv {
namespace {

using Results = std::map<std::string, Status>;

class RecordingCallback : public KvStoreSyncCallback, public Recorder<Results> {
 public:
  void SyncCompleted(const Results& results) override {
    EXPECT_TRUE(Client::CallbackQueue::OnCallbackThread());
    Add(results);
  }
};

class Sync : public ClientTest {
 protected:
  static std::shared_ptr<RecordingCallback> Register(SingleKvStore& store) {
    auto callback = std::make_shared<RecordingCallback>();
    EXPECT_EQ(store.RegisterSyncCallback(callback), Status::SUCCESS);
    return callback;
  }

  Client::SyncSettings StoredSettings() const {
    Client::StoredSyncSettings settings;
    EXPECT_EQ(settings.Load(*OpenRaw(Folder("store"))), Status::SUCCESS);
    return settings.Get();
  }
};

TEST_F(Sync, EndsWithAFailureForEachDeviceAskedFor) {
  const auto store = Open();
  EXPECT_EQ(store->Sync({"untold"}, SyncMode::PULL, 0), Status::SUCCESS);
  const auto callback = Register(*store);
  for (const SyncMode mode : {SyncMode::PULL, SyncMode::PUSH, SyncMode::PUSH_PULL}) {
    EXPECT_EQ(store->Sync({"b", "a", "b"}, mode, 5), Status::SUCCESS);
  }
  const Results each = {{"a", Status::ERROR}, {"b", Status::ERROR}};
  EXPECT_EQ(callback->Await(3), (std::vector<Results>{each, each, each}));
}

TEST_F(Sync, RefusesWhatItCannotBeginAndSaysSo) {
  const auto store = Open();
  const auto callback = Register(*store);
  EXPECT_EQ(store->Sync({}, SyncMode::PULL, 0), Status::INVALID_ARGUMENT);
  EXPECT_EQ(store->Sync({"a", ""}, SyncMode::PULL, 0), Status::INVALID_ARGUMENT);
  EXPECT_EQ(store->Sync({"a"}, SyncMode::PULL, -1), Status::INVALID_ARGUMENT);
  for (const int mode : {-1, 3}) {
    EXPECT_EQ(store->Sync({"a"}, static_cast<SyncMode>(mode), 0), Status::INVALID_ARGUMENT);
  }
  EXPECT_EQ(store->RegisterSyncCallback(nullptr), Status::INVALID_ARGUMENT);
  const Results refused = {{"a", Status::INVALID_ARGUMENT}};
  const Results unnamed = {{"", Status::INVALID_ARGUMENT}, {"a", Status::INVALID_ARGUMENT}};
  EXPECT_EQ(callback->Await(5), (std::vector<Results>{{}, unnamed, refused, refused, refused}));
}

TEST_F(Sync, EndsWithAFailureWhereTheStoreHasFailedOrMayOnlyBeRead) {
  Open();
  for (const bool readOnly : {false, true}) {
    const auto shared = std::make_shared<Client::Store>("store", Client::StoreTraits{},
                                                        OpenRaw(Folder("store"), readOnly), "device");
    ASSERT_EQ(shared->Load(), Status::SUCCESS);
    Client::SingleStore store(std::make_unique<Client::StoreLease>(shared, [] {}), "app");
    const auto callback = Register(store);
    if (!readOnly) shared->Fail();
    const Status status = readOnly ? Status::READ_ONLY : Status::DB_ERROR;
    EXPECT_EQ(store.Sync({"a"}, SyncMode::PULL, 0), readOnly ? Status::SUCCESS : status);
    EXPECT_EQ(callback->Await(1), (std::vector<Results>{{{"a", status}}}));
    EXPECT_EQ(Client::Cluster::FindSyncReasons("app", "store").at("a"),
              readOnly ? "the store may only be read" : "the store has failed");
    EXPECT_EQ(store.RemoveDeviceData("remote", 0), status);
  }
}

// Completions belong to the callback of their time, and come although it was replaced, taken back or its
// store closed.
TEST_F(Sync, CompletesOnceWhateverHappensMeanwhile) {
  auto store = Open();
  EXPECT_EQ(store->UnRegisterSyncCallback(), Status::STORE_NOT_SUBSCRIBE);
  const auto first = Register(*store);
  first->Hold(true);
  store->Sync({"1"}, SyncMode::PULL, 0);
  store->Sync({"2"}, SyncMode::PULL, 0);
  const auto second = Register(*store);
  store->Sync({"3"}, SyncMode::PULL, 0);
  EXPECT_EQ(store->UnRegisterSyncCallback(), Status::SUCCESS);
  store->Sync({"untold"}, SyncMode::PULL, 0);
  const auto third = Register(*store);
  store->Sync({"4"}, SyncMode::PULL, 0);
  store.reset();
  first->Hold(false);
  EXPECT_EQ(third->Await(1), (std::vector<Results>{{{"4", Status::ERROR}}}));
  EXPECT_EQ(first->Await(2), (std::vector<Results>{{{"1", Status::ERROR}}, {{"2", Status::ERROR}}}));
  EXPECT_EQ(second->Await(1), (std::vector<Results>{{{"3", Status::ERROR}}}));
}

TEST_F(Sync, ThreadsSyncAndReplaceTheCallback) {
  const auto store = Open();
  const auto callback = Register(*store);
  OnThreads(4, [&](int i) {
    for (int round = 0; round < 50; ++round) {
      store->RegisterSyncCallback(callback);
      EXPECT_EQ(store->Sync({std::to_string(i)}, SyncMode::PUSH, 0), Status::SUCCESS);
    }
  });
  EXPECT_EQ(callback->Await(200).size(), 200U);
}

TEST_F(Sync, SettingsAreCheckedAndKept) {
  auto store = Open();
  const std::string longest(128, 'x');
  const std::vector<std::string> most(64, longest);
  EXPECT_EQ(store->SetSyncParam({1500}), Status::SUCCESS);
  EXPECT_EQ(store->SetSyncParam({-1}), Status::INVALID_ARGUMENT);
  EXPECT_EQ(store->StartTransaction(), Status::SUCCESS);
  EXPECT_EQ(store->SetCapabilityEnabled(true), Status::SUCCESS);
  EXPECT_EQ(store->Rollback(), Status::SUCCESS);
  EXPECT_EQ(store->SetCapabilityRange(most, {"a", "\xE2\x82\xAC"}), Status::SUCCESS);
  for (const auto& bad : {std::vector<std::string>{""}, {longest + "x"}, std::vector<std::string>(65, "a")}) {
    EXPECT_EQ(store->SetCapabilityRange(bad, {}), Status::INVALID_ARGUMENT);
    EXPECT_EQ(store->SetCapabilityRange({}, bad), Status::INVALID_ARGUMENT);
  }
  store.reset();
  Client::SyncSettings kept = StoredSettings();
  EXPECT_TRUE(kept.capabilityEnabled);
  EXPECT_EQ(kept.allowedDelayMs, 1500);
  EXPECT_EQ(kept.localLabels, most);
  EXPECT_EQ(kept.remoteLabels, (Client::Labels{"a", "\xE2\x82\xAC"}));

  store = Open();
  EXPECT_EQ(store->SetCapabilityRange({}, {}), Status::SUCCESS);
  store.reset();
  kept = StoredSettings();
  EXPECT_TRUE(kept.capabilityEnabled && kept.localLabels.empty() && kept.remoteLabels.empty());
}

TEST(SyncSettings, LayoutAndDamage) {
  const std::string stored("\1\1\x7f\xff\xff\xff\0\1\0\2ab\0\0", 14);
  Client::SyncSettings settings;
  settings.capabilityEnabled = true;
  settings.allowedDelayMs = std::numeric_limits<int32_t>::max();
  settings.localLabels = {"ab"};
  EXPECT_EQ(Client::EncodeSyncSettings(settings), stored);
  for (size_t size = 0; size < stored.size(); ++size) {
    EXPECT_FALSE(Client::ParseSyncSettings(Client::Bytes(stored).substr(0, size))) << size;
  }
  EXPECT_FALSE(Client::ParseSyncSettings(stored + "x"));
  for (const size_t place : {0, 1, 2}) {
    std::string damaged = stored;
    damaged[place] = '\xff';
    EXPECT_FALSE(Client::ParseSyncSettings(damaged)) << place;
  }
}

// Records of other devices, as synchronisation would leave them.
class DeviceData : public Sync {
 protected:
  void MakeRemoteRecords(int records, const std::string& value = "r") {
    Put(*Open(), "own", "o");
    const std::unique_ptr<Client::Engine> engine = OpenRaw(Folder("store"));
    const std::unique_ptr<Client::Batch> batch = engine->NewBatch();
    batch->Put(std::string(Client::kDeviceSpace) + std::string("\0\0\0\1", 4), "remote", {});
    batch->Put(std::string(Client::kDeviceSpace) + std::string("\0\0\0\2", 4), "other", {});
    for (int i = 0; i < records; ++i) PutFrom(*batch, 1, "r" + std::to_string(i), value);
    PutFrom(*batch, 2, "s", "2");
    EXPECT_EQ(batch->Commit(), Status::SUCCESS);
  }
  static void PutFrom(Client::Batch& batch, uint32_t device, const std::string& key,
                      const std::string& value) {
    const Client::RecordHead head = Client::EncodeRecordHead(1, device);
    batch.Put(Client::RecordKey(key), {head.data(), head.size()}, value);
  }
};

TEST_F(DeviceData, IsRemovedForTheOneDeviceAndObserversAreTold) {
  MakeRemoteRecords(2);
  const auto store = Open();
  const auto observer = std::make_shared<RecordingObserver>();
  store->SubscribeKvStore(SubscribeType::ALL, observer);
  EXPECT_EQ(store->RemoveDeviceData("remote", 1), Status::INVALID_ARGUMENT);
  EXPECT_EQ(store->RemoveDeviceData("", 0), Status::INVALID_ARGUMENT);
  EXPECT_EQ(store->RemoveDeviceData("unknown", 0), Status::SUCCESS);
  EXPECT_EQ(List(*store).size(), 4U);
  Put(*store, "r1", "mine now");
  EXPECT_EQ(store->RemoveDeviceData("remote", 0), Status::SUCCESS);
  EXPECT_EQ(List(*store), (Pairs{{"own", "o"}, {"r1", "mine now"}, {"s", "2"}}));

  DeviceInfo device;
  manager_.GetLocalDevice(device);
  EXPECT_EQ(store->RemoveDeviceData(device.deviceId, 0), Status::SUCCESS);
  EXPECT_EQ(List(*store), (Pairs{{"s", "2"}}));
  EXPECT_EQ(observer->Await(3), (std::vector<std::string>{"~r1=mine now", "-r0=r", "-own=o -r1=mine now"}));
}

TEST_F(DeviceData, RemovalTakesPartInATransaction) {
  MakeRemoteRecords(2);
  const auto store = Open();
  store->StartTransaction();
  Put(*store, "r0", "mine now");
  EXPECT_EQ(store->RemoveDeviceData("remote", 0), Status::SUCCESS);
  EXPECT_EQ(List(*store), (Pairs{{"own", "o"}, {"r0", "mine now"}, {"s", "2"}}));
  store->Rollback();
  EXPECT_EQ(List(*store).size(), 4U);
}

TEST_F(DeviceData, MoreThanOneSliceIsRemoved) {
  MakeRemoteRecords(20, std::string(1 << 20, 'v'));
  const auto store = Open();
  EXPECT_EQ(store->RemoveDeviceData("remote", 0), Status::SUCCESS);
  EXPECT_EQ(List(*store), (Pairs{{"own", "o"}, {"s", "2"}}));
}

int64_t g_nanoseconds = 0;
int64_t Nanoseconds() {
  return g_nanoseconds;
}

TEST(RateLimiter, LetsABurstOfOneSecondInAndThenTheRate) {
  constexpr int64_t kMillisecond = 1'000'000;
  g_nanoseconds = 77;
  Client::RateLimiter limiter(10, Nanoseconds);
  const auto taken = [&limiter] {
    int count = 0;
    while (count < 1000 && limiter.Take()) ++count;
    return count;
  };
  EXPECT_EQ(taken(), 10);
  g_nanoseconds += 99 * kMillisecond;
  EXPECT_EQ(taken(), 0);
  g_nanoseconds += kMillisecond;
  EXPECT_EQ(taken(), 1);
  g_nanoseconds += 60'000 * kMillisecond;
  EXPECT_EQ(taken(), 10);
  Client::RateLimiter off(0, Nanoseconds);
  EXPECT_TRUE(off.Take() && off.Take());
  EXPECT_TRUE(Client::RateLimiter(Client::kMaxRate, Nanoseconds).Take());
}

TEST_F(Sync, ARateTurnsDataOperationsAwayAndLetsEndsIn) {
  Open();
  auto shared = std::make_shared<Client::Store>("store", Client::StoreTraits{}, OpenRaw(Folder("store")),
                                                "device", uint64_t{1});
  ASSERT_EQ(shared->Load(), Status::SUCCESS);
  Client::SingleStore store(std::make_unique<Client::StoreLease>(shared, [] {}));
  EXPECT_EQ(store.StartTransaction(), Status::SUCCESS);
  // One a second: a loaded machine may let some more in.
  Status status = Status::SUCCESS;
  for (int i = 0; i < 1000 && status == Status::SUCCESS; ++i) status = store.Put(B("k"), B("v"));
  EXPECT_EQ(status, Status::EXCEED_MAX_ACCESS_RATE);
  EXPECT_EQ(store.Rollback(), Status::SUCCESS);
  EXPECT_EQ(store.SetCapabilityEnabled(true), Status::SUCCESS);
}

}  // namespace
}  // namespace KORA::DistributedKv
