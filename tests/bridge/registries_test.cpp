// What outlives a call: handles, registered observers, listeners, recipients and the sync callback.
#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <new>
#include <utility>

#include "manager/jni_service_death_recipient_impl.h"
#include "operations.h"
#include "support/script.h"
#include "support/trace.h"

namespace {
bool g_allocationFails = false;
}

// NOLINTNEXTLINE(misc-new-delete-overloads): memory comes from the ordinary operator
void* operator new(std::size_t size, const std::nothrow_t& /*tag*/) noexcept {
  if (g_allocationFails) return nullptr;
  try {
    return ::operator new(size);
  } catch (const std::bad_alloc&) {
    return nullptr;
  }
}

namespace {

using fake::CallNative;
using fake::Client;
using fake::Java;
using fake::Names;
namespace kv = KORA::DistributedKv;

constexpr char kManager[] = "KvManagerImpl.";
constexpr char kSingle[] = "SingleKvStoreImpl.";
constexpr char kMulti[] = "MultiKvStoreImpl.";

class RegistriesTest : public testing::Test {
 protected:
  void SetUp() override {
    Client::Get().Reset();
    fake::MakeHandles();
    for (const auto& [name, value] :
         {std::pair("obs", "Observer()"), std::pair("other", "Observer()"), std::pair("dev", "Listener()"),
          std::pair("rec", "Recipient()"), std::pair("sync", "SyncListener()")}) {
      Names::Get().Set(name, fake::ParseValues(Java::Get().Env(), value).front().object);
    }
  }
  void TearDown() override {
    Java::Get().Env().Take();
    Client::Get().Reset();
  }

  // The trace of a call, without the calls of JNI.
  static std::vector<std::string> ClientCalls(const std::string& target, const std::string& arguments) {
    fake::Trace::Get().Start();
    CallNative(target, arguments);
    std::vector<std::string> calls;
    for (std::string& line : fake::Trace::Get().Stop()) {
      if (line.rfind("> ", 0) == 0) calls.push_back(std::move(line));
    }
    return calls;
  }

  static std::string Subscribe(const std::string& native, const std::string& arguments) {
    CallNative(native, arguments);
    return fake::TakePending();
  }

  // Whether a further unsubscription fails.
  static bool IsForgotten(const std::string& native, const std::string& arguments) {
    CallNative(native, arguments);
    return !fake::TakePending().empty();
  }
};

const std::string kOnMulti = "SubscribeType(0), @obs, KvManagerConfig(), @multi";
const std::string kOnSingle = "SubscribeType(0), @obs, KvManagerConfig(), @single";
const std::string kOtherOnSingle = "SubscribeType(0), @other, KvManagerConfig(), @otherSingle";

TEST_F(RegistriesTest, SetupMakesAManagerForGood) {
  fake::Trace::Get().Start();
  const std::string handle = CallNative(std::string(kManager) + "nativeSetup", "");
  EXPECT_EQ(std::vector<std::string>{"> Manager"}, fake::Trace::Get().Stop());
  const std::unique_ptr<kv::DistributedKvDataManager> manager(
      reinterpret_cast<kv::DistributedKvDataManager*>(std::stoll(handle)));
  EXPECT_NE(nullptr, manager);
}

TEST_F(RegistriesTest, SetupWithoutMemoryAnswersNoHandle) {
  fake::Trace::Get().Start();
  g_allocationFails = true;
  EXPECT_EQ("0", CallNative(std::string(kManager) + "nativeSetup", ""));
  g_allocationFails = false;
  EXPECT_EQ(std::vector<std::string>{"E:UserKvMgrJNI:NativeSetup init DistributedKvDataManager failed"},
            fake::Trace::Get().Stop());
}

TEST_F(RegistriesTest, StoreThatComesWithAFailureIsNeverDeleted) {
  const size_t before = Client::Get().Live();
  Client::Get().answers.status = kv::Status::SCHEMA_MISMATCH;
  EXPECT_EQ("0", CallNative(std::string(kManager) + "nativeGetKvStore",
                            "Options(0,0,0,0,KvStoreType(2),null,0,null,null), \"s\", \"a\", @manager"));
  EXPECT_EQ("KvStoreException(KvStoreErrorCode.SCHEMA_MISMATCH,\"\")", fake::TakePending());
  EXPECT_EQ(before + 1, Client::Get().Live());
}

TEST_F(RegistriesTest, NothingDeliveredIsAHandleOfZero) {
  Client::Get().answers.delivers = false;
  EXPECT_EQ("0", CallNative(std::string(kSingle) + "nativeGetResultSet", "[01], @single"));
  EXPECT_EQ("0", CallNative(std::string(kMulti) + "nativeGetKvStoreSnapshot", "null, @multi"));
  EXPECT_EQ("", fake::TakePending());
  for (const kv::Status status : {kv::Status::SUCCESS, kv::Status::DB_ERROR}) {
    Client::Get().answers.status = status;
    Client::Get().answers.calledBack = false;
    EXPECT_EQ("0", CallNative(std::string(kSingle) + "nativeGetResultSet", "[01], @single"));
    EXPECT_EQ("KvStoreException(KvStoreErrorCode.DEFAULT_DB_ERROR,\"\")", fake::TakePending());
  }
}

TEST_F(RegistriesTest, ReleasedObjectsThatTheClientLeavesAreDeleted) {
  Client::Get().answers.keeps = false;
  const size_t before = Client::Get().Live();
  CallNative(std::string(kMulti) + "nativeReleaseKvStoreSnapshot", "@multi, KvStoreSnapshotImpl(@snapshot)");
  EXPECT_EQ(before - 1, Client::Get().Live());
  CallNative(std::string(kSingle) + "nativeCloseResultSet", "KvStoreResultSetImpl(@cursor), @single");
  EXPECT_EQ(before - 2, Client::Get().Live());
}

TEST_F(RegistriesTest, SubscribeTypesAreMapped) {
  const std::string subscribe = std::string(kSingle) + "nativeRegisterObserver";
  const std::string unsubscribe = std::string(kSingle) + "nativeUnregisterObserver";
  for (const auto& [java, native] : {std::pair("0", "1"), std::pair("1", "2"), std::pair("2", "3"),
                                     std::pair("-1", "3"), std::pair("99", "3")}) {
    const std::string arguments =
        std::string("SubscribeType(") + java + "), @obs, KvManagerConfig(), @single";
    EXPECT_EQ(std::vector{"> SingleStore.SubscribeKvStore " + std::string(native)},
              ClientCalls(subscribe, arguments));
    EXPECT_EQ(std::vector{"> SingleStore.UnSubscribeKvStore " + std::string(native)},
              ClientCalls(unsubscribe, arguments));
    EXPECT_EQ("", fake::TakePending());
  }
}

// Three answers of the client count as closed: the store goes, with the observers of this store alone.
TEST_F(RegistriesTest, ClosingForgetsTheObserversOfThatStore) {
  const std::string options =
      "Options(0,0,0,0,KvStoreType(1),null,0,null,null), \"a\", SingleKvStoreImpl(@single), ";
  for (const kv::Status status :
       {kv::Status::SUCCESS, kv::Status::STORE_ALREADY_CLOSED, kv::Status::STORE_NOT_OPEN}) {
    Names::Get().Set("single", reinterpret_cast<jlong>(fake::MakeSingleStore().release()));
    Names::Get().Set("otherSingle", reinterpret_cast<jlong>(fake::MakeSingleStore().release()));
    EXPECT_EQ("", Subscribe(std::string(kSingle) + "nativeRegisterObserver", kOnSingle));
    EXPECT_EQ("", Subscribe(std::string(kSingle) + "nativeRegisterObserver", kOtherOnSingle));
    Client::Get().answers.status = status;
    EXPECT_EQ((std::vector<std::string>{"> SingleStore.GetStoreId",
                                        "> Manager.CloseKvStore \"a\" \"single\" \"\"", "> ~SingleStore"}),
              ClientCalls(std::string(kManager) + "nativeCloseKvStore", options + "@manager"));
    EXPECT_EQ("", fake::TakePending());
    Client::Get().answers.status = kv::Status::SUCCESS;
    Names::Get().Set("single", reinterpret_cast<jlong>(fake::MakeSingleStore().release()));
    EXPECT_TRUE(IsForgotten(std::string(kSingle) + "nativeUnregisterObserver", kOnSingle));
    EXPECT_FALSE(IsForgotten(std::string(kSingle) + "nativeUnregisterObserver", kOtherOnSingle));
  }
}

TEST_F(RegistriesTest, ClosingAMultiVersionStoreForgetsItsObserver) {
  EXPECT_EQ("", Subscribe(std::string(kMulti) + "nativeSubscribe", kOnMulti));
  Client::Get().Drop();
  fake::Trace::Get().Start();
  CallNative(std::string(kManager) + "nativeCloseKvStore",
             "Options(0,0,0,0,KvStoreType(2),null,0,null,null), \"a\", MultiKvStoreImpl(@multi), @manager");
  const std::vector<std::string> trace = fake::Trace::Get().Stop();
  for (const char* line :
       {"DeleteGlobalRef Observer()", "I:JniObserver:~JniKvStoreObserverImpl ~JniKvStoreObserverImpl this"}) {
    EXPECT_EQ(1, std::count(trace.begin(), trace.end(), line)) << line;
  }
  Names::Get().Set("multi", reinterpret_cast<jlong>(fake::MakeStore().release()));
  EXPECT_TRUE(IsForgotten(std::string(kMulti) + "nativeUnSubscribe", kOnMulti));
}

TEST_F(RegistriesTest, ServiceDeathForgetsSingleObserversAndListenersOnly) {
  EXPECT_EQ("", Subscribe(std::string(kMulti) + "nativeSubscribe", kOnMulti));
  EXPECT_EQ("", Subscribe(std::string(kSingle) + "nativeRegisterObserver", kOnSingle));
  CallNative(std::string(kManager) + "nativeRegisterDeviceChangeListener", "@dev, \"FILTER\", @manager");
  CallNative(std::string(kManager) + "nativeRegisterServiceDeath", "@rec, @manager");
  OnClientThread([](const fake::Callbacks& held) { held.recipients.back()->OnRemoteDied(); });
  EXPECT_TRUE(IsForgotten(std::string(kSingle) + "nativeUnregisterObserver", kOnSingle));
  EXPECT_TRUE(IsForgotten(std::string(kManager) + "nativeUnRegisterDeviceChangeListener", "@dev, @manager"));
  EXPECT_FALSE(IsForgotten(std::string(kMulti) + "nativeUnSubscribe", kOnMulti));
  EXPECT_FALSE(IsForgotten(std::string(kManager) + "nativeUnRegisterServiceDeath", "@rec, @manager"));
}

TEST_F(RegistriesTest, RecipientRegisteredTwiceIsKeptTwice) {
  const std::string unregister = std::string(kManager) + "nativeUnRegisterServiceDeath";
  for (int i = 0; i < 2; ++i)
    CallNative(std::string(kManager) + "nativeRegisterServiceDeath", "@rec, @manager");
  EXPECT_FALSE(IsForgotten(unregister, "@rec, @manager"));
  EXPECT_FALSE(IsForgotten(unregister, "@rec, @manager"));
  EXPECT_TRUE(IsForgotten(unregister, "@rec, @manager"));
}

TEST_F(RegistriesTest, RecipientWithoutAReferenceOnlyLogs) {
  fake::Trace::Get().Start();
  kv::JniServiceDeathRecipientImpl(nullptr).OnRemoteDied();
  const std::vector<std::string> trace = fake::Trace::Get().Stop();
  EXPECT_EQ((std::vector<std::string>{
                "I:ServiceDeath:JniServiceDeathRecipientImpl JniServiceDeathRecipientImpl this",
                "I:ServiceDeath:OnRemoteDied OnRemoteDied begin",
                "E:ServiceDeath:OnRemoteDied OnRemoteDied observer is nullptr",
                "I:ServiceDeath:~JniServiceDeathRecipientImpl ~JniServiceDeathRecipientImpl this"}),
            trace);
}

// A refused unregistration changes nothing.
TEST_F(RegistriesTest, SecondSyncCallbackReplacesTheFirst) {
  CallNative(std::string(kSingle) + "nativeRegisterSyncCallback", "SyncListener(), @single");
  CallNative(std::string(kSingle) + "nativeRegisterSyncCallback", "OtherSyncListener(), @single");
  Client::Get().answers.status = kv::Status::ERROR;
  CallNative(std::string(kSingle) + "nativeUnRegisterSyncCallback", "@single");
  fake::Trace::Get().Start();
  fake::Operations().at("SyncCompleted")({});
  const std::vector<std::string> trace = fake::Trace::Get().Stop();
  const auto isCall = [](const std::string& line) {
    return line.find("syncCompleted(") != std::string::npos;
  };
  EXPECT_EQ(1, std::count_if(trace.begin(), trace.end(), isCall));
  EXPECT_EQ(1, std::count(trace.begin(), trace.end(),
                          "Call OtherSyncListener.syncCompleted(Map{\"d1\":Integer(0),\"d2\":Integer(1)})"));
  Client::Get().answers.status = kv::Status::SUCCESS;
  CallNative(std::string(kSingle) + "nativeUnRegisterSyncCallback", "@single");
}

}  // namespace
