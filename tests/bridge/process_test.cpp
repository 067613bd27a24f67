// What shows only in a process of its own: the end of the registries, a load that failed first, and that the
// sanitizers of this build find what is planted for them.
#include "process.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <array>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <memory>
#include <thread>

#include "jni/jni_env_helper.h"
#include "operations.h"
#include "support/client.h"
#include "support/script.h"
#include "support/trace.h"

#if defined(__SANITIZE_THREAD__)
#define KORA_TEST_TSAN 1
#elif defined(__has_feature)
#if __has_feature(thread_sanitizer)
#define KORA_TEST_TSAN 1
#endif
#endif
#if defined(__SANITIZE_ADDRESS__)
#define KORA_TEST_ASAN 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define KORA_TEST_ASAN 1
#endif
#endif

namespace {

using fake::Java;

// One entry in each registry, and none of them held by the client any more.
int LeaveRegistriesFilled() {
  Load(Java::Get().Vm());
  fake::MakeHandles();
  fake::CallNative("KvManagerImpl.nativeRegisterServiceDeath", "Recipient(), @manager");
  fake::CallNative("MultiKvStoreImpl.nativeSubscribe",
                   "SubscribeType(0), Observer(), KvManagerConfig(), @multi");
  fake::CallNative("KvManagerImpl.nativeRegisterDeviceChangeListener", "Listener(), \"\", @manager");
  fake::CallNative("SingleKvStoreImpl.nativeRegisterObserver",
                   "SubscribeType(0), Observer(), KvManagerConfig(), @single");
  fake::Client::Get().Reset();
  fake::Trace::Get().EchoLog();
  return 0;
}

// A failed load records no virtual machine; of two that succeed the first stays.
int LoadThrice() {
  fake::FakeVm& vm = Java::Get().Vm();
  fake::FakeVm& other = Java::Get().OtherVm();
  Java::Get().FailCall("FindClass", 12);  // the last class of the cache
  const jint failed = Load(other);
  Java::Get().FailNothing();
  Java::Get().Env().Take();
  const jint first = Load(vm);
  const jint second = Load(other);
  std::thread([] { const KORA::DistributedKv::JNIEnvHelper env; }).join();
  std::printf("%d %d %d, attached %d %d\n", failed, first, second, vm.attached.load(), other.attached.load());
  return 0;
}

// On a thread of its own, so that no stack holds the address any more.
int LeakMemory() {
  std::thread([] { std::printf("%p\n", static_cast<void*>(std::make_unique<char[]>(17).release())); }).join();
  return 0;
}

int RaceOnMemory() {
  static int shared = 0;
  std::thread other([] { ++shared; });
  ++shared;
  other.join();
  return 0;
}

const std::map<std::string, int (*)()> kTasks = {{"registries", LeaveRegistriesFilled},
                                                 {"loads", LoadThrice},
                                                 {"leak", LeakMemory},
                                                 {"race", RaceOnMemory}};

struct Outcome {
  std::string output;
  bool succeeded;
};

Outcome RunChild(const std::string& task) {
  std::array<char, 4096> path{};
  const ssize_t length = readlink("/proc/self/exe", path.data(), path.size() - 1);
  EXPECT_GT(length, 0);
  FILE* pipe = popen(("'" + std::string(path.data()) + "' " + task + " 2>&1").c_str(), "r");
  Outcome outcome;
  for (int c = std::fgetc(pipe); c != EOF; c = std::fgetc(pipe)) outcome.output += static_cast<char>(c);
  outcome.succeeded = pclose(pipe) == 0;
  return outcome;
}

TEST(Process, DestroysRegistriesInReverseOrder) {
  EXPECT_EQ(
      "I:JniObserver:~JniKvStoreObserverImpl ~JniKvStoreObserverImpl this\n"
      "I:devListener:~DeviceListenerWrapper ~DeviceListenerWrapper\n"
      "I:JniObserver:~JniKvStoreObserverImpl ~JniKvStoreObserverImpl this\n"
      "I:ServiceDeath:~JniServiceDeathRecipientImpl ~JniServiceDeathRecipientImpl this\n",
      RunChild("registries").output);
}

TEST(Process, KeepsTheFirstVirtualMachineThatLoadedIt) {
  EXPECT_EQ("-1 65540 65540, attached 1 0\n", RunChild("loads").output);
}

TEST(Sanitizers, FindAPlantedLeak) {
#if defined(KORA_TEST_ASAN)
  const Outcome outcome = RunChild("leak");
  EXPECT_FALSE(outcome.succeeded);
  EXPECT_NE(std::string::npos, outcome.output.find("LeakSanitizer")) << outcome.output;
#else
  GTEST_SKIP() << "not built with the address sanitizer";
#endif
}

TEST(Sanitizers, FindAPlantedRace) {
#if defined(KORA_TEST_TSAN)
  const Outcome outcome = RunChild("race");
  EXPECT_FALSE(outcome.succeeded);
  EXPECT_NE(std::string::npos, outcome.output.find("data race")) << outcome.output;
#else
  GTEST_SKIP() << "not built with the thread sanitizer";
#endif
}

}  // namespace

int RunAsChild(const std::string& task) {
  const auto found = kTasks.find(task);
  return found == kTasks.end() ? EXIT_FAILURE : found->second();
}
