// The helpers that natives are made of, where a native does not show all that they do.
#include <gtest/gtest.h>

#include <map>
#include <new>
#include <string>
#include <thread>
#include <type_traits>
#include <utility>
#include <vector>

#include "jni/boundary.h"
#include "jni/java_c_utils.h"
#include "jni/java_class.h"
#include "jni/java_exception.h"
#include "jni/jni_env_helper.h"
#include "operations.h"
#include "support/script.h"
#include "support/trace.h"

namespace {

using fake::Java;
using KORA::DistributedKv::JavaClass;
using KORA::DistributedKv::JavaCUtils;
using KORA::DistributedKv::JavaException;
using KORA::DistributedKv::JNIEnvHelper;
using KORA::DistributedKv::Status;

static_assert(!std::is_copy_constructible_v<JavaClass>, "a copy would delete its reference twice");

class JniTest : public testing::Test {
 protected:
  JNIEnv* env_ = &Java::Get().Env();
  Status status_ = Status::ERROR;

  void TearDown() override { Java::Get().Env().Take(); }

  jobject Make(const std::string& value) {
    fake::ThreadEnv& env = Java::Get().Env();
    return env.Argument(fake::ParseValues(env, value).front().object);
  }
  static std::string Text(jobject object) {
    return object == nullptr ? "null" : fake::Describe(reinterpret_cast<fake::Reference*>(object)->object);
  }
  void RaisePending() {
    Java::Get().Env().pending = Java::Get().Env().New(Java::Get().Find("java/lang/RuntimeException"));
  }
};

TEST_F(JniTest, EveryStatusHasItsErrorCode) {
  constexpr int kBase = 27459584;
  std::vector<int> codes = {0, -1, kBase - 1, INT32_MIN, INT32_MAX};
  for (int code = kBase; code <= kBase + 40; ++code) codes.push_back(code);
  for (const int code : codes) {
    auto status = static_cast<Status>(code);
    EXPECT_TRUE(JavaException::ExceptionObject(env_, status, "m"));
    EXPECT_EQ("KvStoreException(KvStoreErrorCode." + fake::ErrorCodeName(code) + ",\"m\")",
              fake::TakePending());
  }
}

// The default table knows neither the codes that are named before it is asked nor the one behind its end.
TEST_F(JniTest, DefaultNamesLeaveOutTheSpecialCodes) {
  for (const int code : {27459588, 27459593, 27459616, 27459617, 27459611}) {
    auto status = static_cast<Status>(code);
    std::string name = "before";
    JavaException::GetDefaultName(status, name);
    EXPECT_EQ("DEFAULT_DB_ERROR", name) << code;
  }
  auto status = static_cast<Status>(27459615);
  std::string name;
  JavaException::GetDefaultName(status, name);
  EXPECT_EQ("EXCEED_MAX_ACCESS_RATE", name);
}

TEST_F(JniTest, ClassWithAnExceptionPendingLooksNothingUp) {
  RaisePending();
  fake::Trace::Get().Start();
  {
    JavaClass byName(env_, "java/lang/Integer");
    JavaClass byObject(env_, Make("Value(1,null)"));
    EXPECT_EQ(nullptr, byName.GetMethod("x", "()V"));
    EXPECT_EQ(nullptr, byName.GetStaticMethod("x", "()V"));
    EXPECT_EQ(nullptr, byName.GetField("value", "I"));
    EXPECT_EQ(nullptr, byObject.NewObject("()V"));
  }
  EXPECT_EQ(std::vector<std::string>{}, fake::Trace::Get().Stop());
}

TEST_F(JniTest, MissingObjectsAndIdentifiersAnswerNeutrally) {
  JavaClass type(env_, "kora/data/distributed/common/KvStoreType");
  jobject object = Make("KvStoreType(7)");
  jmethodID getCode = type.GetMethod("getCode", "()I");
  EXPECT_EQ(7, type.CallIntMethod(object, getCode));
  fake::Trace::Get().Start();
  EXPECT_EQ(-1, type.CallIntMethod(nullptr, getCode));
  EXPECT_EQ(-1, type.CallIntMethod(object, nullptr));
  EXPECT_EQ(JNI_FALSE, type.CallBooleanMethod(nullptr, getCode));
  EXPECT_EQ(nullptr, type.CallObjectMethod(object, nullptr));
  EXPECT_EQ(nullptr, type.CallStaticObjectMethod(nullptr));
  type.CallVoidMethod(nullptr, getCode);
  EXPECT_EQ(0, type.GetLongField(object, nullptr));
  EXPECT_EQ(0, type.GetByteField(object, nullptr));
  EXPECT_EQ(nullptr, type.GetObjectField(nullptr, nullptr));
  type.SetLongField(object, nullptr, 1);
  type.SetObjectField(object, nullptr, nullptr);
  EXPECT_EQ(std::vector<std::string>{}, fake::Trace::Get().Stop());
}

TEST_F(JniTest, ConstructorsAndStaticMethodsTakeArguments) {
  JavaClass integer(env_, "java/lang/Integer");
  EXPECT_EQ("Integer(42)", Text(integer.NewObject("(I)V", 42)));
  JavaClass statics(env_, "test/Statics");
  EXPECT_EQ("Integer(43)", Text(statics.CallStaticObjectMethod(
                               statics.GetStaticMethod("make", "(I)Ljava/lang/Object;"), 43)));
  EXPECT_EQ(nullptr, integer.NewObject("(J)V"));
  EXPECT_EQ("NoSuchMethodError()", fake::Describe(Java::Get().Env().pending));
}

TEST_F(JniTest, ThreadIsAttachedOnceAndDetachedByWhoAttachedIt) {
  fake::FakeVm& vm = Java::Get().Vm();
  const int attached = vm.attached;
  const int detached = vm.detached;
  { const JNIEnvHelper helper; }  // this thread is attached already
  EXPECT_EQ(attached, vm.attached);
  std::thread([&] {
    JNIEnvHelper outer;
    {
      JNIEnvHelper inner;
      EXPECT_EQ(outer.operator->(), inner.operator->());
    }
    EXPECT_EQ(detached, vm.detached);
  }).join();
  EXPECT_EQ(attached + 1, vm.attached);
  EXPECT_EQ(detached + 1, vm.detached);
}

TEST_F(JniTest, CopiedKeysAreAppended) {
  std::vector<uint8_t> bytes = {9};
  EXPECT_TRUE(JavaCUtils::CopyKeyFromJava2C(env_, static_cast<jbyteArray>(Make("[00ff]")), bytes));
  EXPECT_EQ((std::vector<uint8_t>{9, 0, 255}), bytes);
}

TEST_F(JniTest, ValueWithoutPayloadLeavesItsTypeBehind) {
  std::vector<uint8_t> bytes;
  EXPECT_FALSE(JavaCUtils::CopyValueFromJava2C(env_, Make("Value(7,null)"), bytes));
  EXPECT_EQ(std::vector<uint8_t>{7}, bytes);
}

TEST_F(JniTest, EntryThatCannotBeBuiltIsANullInTheList) {
  const std::vector<fake::kv::Entry> entries = {{fake::kv::Key("a"), fake::kv::Value()},
                                                {fake::kv::Key("b"), fake::kv::Value("\x01z")}};
  EXPECT_EQ("List{null,Entry(\"b\",Value(1,[7a]))}", Text(JavaCUtils::BuildJavaList(env_, entries)));
}

// An entry that cannot be made is left out, and its parts go.
TEST_F(JniTest, SyncResultsLeaveOutWhatCannotBeMade) {
  const std::map<std::string, Status> results = {
      {"d1", Status::SUCCESS}, {"d2", Status::DB_ERROR}, {"d3", static_cast<Status>(1)}};
  EXPECT_EQ("Map{\"d1\":Integer(0),\"d2\":Integer(1),\"d3\":Integer(1)}",
            Text(JavaCUtils::HashMapDatas(env_, results)));
  for (const auto& [function, nth] : {std::pair("NewStringUTF", 1), std::pair("NewObject", 2)}) {
    Java::Get().Env().Take();
    Java::Get().FailCall(function, nth);
    EXPECT_EQ("Map{\"d2\":Integer(1),\"d3\":Integer(1)}", Text(JavaCUtils::HashMapDatas(env_, results)));
    Java::Get().FailNothing();
    EXPECT_EQ(1U, Java::Get().Env().Take().locals.size()) << "more than the map is left after " << function;
  }
}

// Constants are looked up with the type of the device status, whatever the class.
TEST_F(JniTest, OnlyDeviceStatusHasConstantsByName) {
  const std::string common = "kora/data/distributed/common/";
  EXPECT_EQ("DeviceStatus.OFFLINE", Text(JavaCUtils::GetJavaEnumByName(
                                        env_, "kora/data/distributed/device/DeviceStatus", "OFFLINE")));
  EXPECT_EQ(nullptr, JavaCUtils::GetJavaEnumByName(env_, common + "KvStoreErrorCode", "DB_ERROR"));
}

// Each group fails by itself: the others and the device are there.
TEST_F(JniTest, ChangeNotificationHasAllThreeGroups) {
  const auto entry = [](const char* key) {
    return fake::kv::Entry(fake::kv::Key(key), fake::kv::Value("\x01"));
  };
  const fake::kv::ChangeNotification change({entry("i")}, {entry("u"), entry("v")}, {entry("d")}, "dev");
  EXPECT_EQ(
      "ChangeNotification(List{Entry(\"i\",Value(1,[]))},List{Entry(\"u\",Value(1,[])),Entry(\"v\",Value(1,[]"
      "))},"
      "List{Entry(\"d\",Value(1,[]))},\"dev\")",
      Text(JavaCUtils::BuildJavaChangeNotification(env_, change)));
  Java::Get().FailCall("Call", 2);
  jobject spoilt = JavaCUtils::BuildJavaChangeNotification(env_, change);
  Java::Get().FailNothing();
  EXPECT_EQ("ChangeNotification(List{Entry(\"i\",Value(1,[]))},null,null,\"dev\")", Text(spoilt));
}

TEST_F(JniTest, CallbacksKeepWhatCppThrowsAndWhatWasPendingBefore) {
  fake::Trace::Get().Start();
  KORA::DistributedKv::GuardCallback(KORA::DistributedKv::Log("ServiceDeath", "OnRemoteDied"),
                                     [] { throw std::bad_alloc(); });
  EXPECT_EQ(std::vector<std::string>{"E:ServiceDeath:OnRemoteDied callback failed"},
            fake::Trace::Get().Stop());

  const auto pendingAfterCallback = [this](bool throwsBefore) {
    if (throwsBefore) JavaException::ExceptionObject(env_, status_, "");
    {
      const KORA::DistributedKv::CallbackEnv callback;
      if (!throwsBefore) JavaException::ExceptionObject(env_, status_, "");
    }
    return env_->ExceptionCheck() == JNI_TRUE;
  };
  EXPECT_FALSE(pendingAfterCallback(false));
  EXPECT_TRUE(pendingAfterCallback(true));
}

}  // namespace
