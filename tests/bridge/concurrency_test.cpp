// Callbacks that arrive while Java threads register and take back what they call. The thread sanitizer and
// the fake world's checks of references do the judging.
#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <vector>

#include "operations.h"
#include "support/script.h"

namespace {

using fake::Callbacks;
using fake::CallNative;
using fake::Client;
using fake::Datum;
using fake::Java;
using fake::ThreadEnv;
namespace kv = KORA::DistributedKv;

constexpr int kRounds = 1000;

Datum New(const char* type) {
  return {0, Java::Get().Env().New(&Java::Get().ByShortName(type))};
}
template <typename T>
Datum Handle(T* object) {
  return {reinterpret_cast<jlong>(object), nullptr};
}

class ConcurrencyTest : public testing::Test {
 protected:
  void SetUp() override { Client::Get().Reset(); }
  void TearDown() override { Client::Get().Reset(); }

  // Runs the calls of a client thread, and of Java threads, until the latter have ended.
  template <typename Call>
  static void Race(const Call& callback, const std::vector<std::function<void()>>& javaThreads) {
    std::atomic<bool> ended{false};
    std::thread client([&] {
      while (!ended) callback();
    });
    std::vector<std::thread> threads;
    threads.reserve(javaThreads.size());
    for (const auto& run : javaThreads) threads.emplace_back(run);
    for (std::thread& thread : threads) thread.join();
    ended = true;
    client.join();
  }

  kv::DistributedKvDataManager manager_;
};

void NotifyObservers() {
  const Callbacks held = Client::Get().Held();
  for (const auto& observer : held.observers) {
    observer->OnChange(kv::ChangeNotification({kv::Entry(kv::Key("k"), kv::Value("v"))}, {}, {}, "d"));
  }
}

TEST_F(ConcurrencyTest, ObserversComeAndGoWhileChangesArrive) {
  const std::unique_ptr<kv::SingleKvStore> shared = fake::MakeSingleStore();
  const auto comeAndGo = [&] {
    const std::vector<Datum> arguments = {New("SubscribeType"), New("Observer"), New("KvManagerConfig"),
                                          Handle(shared.get())};
    for (int i = 0; i < kRounds; ++i) {
      CallNative("SingleKvStoreImpl.nativeRegisterObserver", arguments);
      CallNative("SingleKvStoreImpl.nativeUnregisterObserver", arguments);
      EXPECT_EQ("", fake::TakePending());
    }
  };
  const auto close = [&] {
    for (int i = 0; i < kRounds; ++i) {
      const Datum store = Handle(fake::MakeSingleStore().release());
      CallNative("SingleKvStoreImpl.nativeRegisterObserver",
                 std::vector<Datum>{New("SubscribeType"), New("Observer"), New("KvManagerConfig"), store});
      const Datum javaStore = New("SingleKvStoreImpl");
      javaStore.object->fields["nativeKvStore"] = store;
      const Datum options = New("Options");
      options.object->fields["kvStoreType"] = New("KvStoreType");
      CallNative("KvManagerImpl.nativeCloseKvStore",
                 std::vector<Datum>{options, {}, javaStore, Handle(&manager_)});
      EXPECT_EQ("", fake::TakePending());
      EXPECT_EQ(0, javaStore.object->fields["nativeKvStore"].number);
    }
  };
  Race(NotifyObservers, {comeAndGo, comeAndGo, close});
}

TEST_F(ConcurrencyTest, SyncCallbackIsReplacedWhileCompletionsArrive) {
  const std::unique_ptr<kv::SingleKvStore> store = fake::MakeSingleStore();
  CallNative("SingleKvStoreImpl.nativeRegisterSyncCallback",
             std::vector<Datum>{New("SyncListener"), Handle(store.get())});
  const std::shared_ptr<kv::KvStoreSyncCallback> callback = Client::Get().Held().sync;
  const auto replace = [&] {
    const std::vector<Datum> arguments = {New("SyncListener"), Handle(store.get())};
    for (int i = 0; i < kRounds; ++i) {
      CallNative("SingleKvStoreImpl.nativeRegisterSyncCallback", arguments);
      CallNative("SingleKvStoreImpl.nativeUnRegisterSyncCallback", std::vector<Datum>{arguments[1]});
    }
  };
  Race([&] { callback->SyncCompleted({{"d", kv::Status::SUCCESS}}); }, {replace, replace});
}

TEST_F(ConcurrencyTest, RecipientsGoWhileTheServiceDies) {
  const auto comeAndGo = [&] {
    const std::vector<Datum> arguments = {New("Recipient"), Handle(&manager_)};
    for (int i = 0; i < kRounds; ++i) {
      CallNative("KvManagerImpl.nativeRegisterServiceDeath", arguments);
      CallNative("KvManagerImpl.nativeUnRegisterServiceDeath", arguments);
      EXPECT_EQ("", fake::TakePending());
    }
  };
  Race(
      [] {
        for (const auto& recipient : Client::Get().Held().recipients) recipient->OnRemoteDied();
      },
      {comeAndGo, comeAndGo});
}

}  // namespace
