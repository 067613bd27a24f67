// What the scripts play besides natives: the load entry, callbacks on threads of the client, and steps that
// set a scene.
#include "operations.h"

#include <thread>

#include "jni/java_exception.h"
#include "support/client.h"
#include "support/script.h"

extern "C" {
jint JNI_OnLoad(JavaVM* vm, void* reserved);
jint RegisterSingleKvStore(JNIEnv* env);
}

namespace {

using fake::Callbacks;
using fake::Client;
using fake::Datum;
using fake::Java;
using Arguments = std::vector<Datum>;
namespace kv = KORA::DistributedKv;

kv::ChangeNotification Change() {
  return {{Client::Get().answers.entries.front()}, {}, {}, "dev"};
}

std::string OnChangeWithSnapshot(const Arguments& /*arguments*/) {
  return OnClientThread([](const Callbacks& held) {
    auto snapshot = fake::MakeSnapshot();
    fake::Names::Get().Set("delivered", reinterpret_cast<jlong>(snapshot.get()));
    held.observers.back()->OnChange(Change(), std::move(snapshot));
  });
}

std::string SyncCompleted(const Arguments& /*arguments*/) {
  return OnClientThread([](const Callbacks& held) {
    held.sync->SyncCompleted({{"d1", kv::Status::SUCCESS}, {"d2", kv::Status::DB_ERROR}});
  });
}

// Leaves the client with a sync callback although none is registered any more.
std::string HoldSync(const Arguments& /*arguments*/) {
  fake::CallNative("SingleKvStoreImpl.nativeRegisterSyncCallback", "SyncListener(), @single");
  fake::CallNative("SingleKvStoreImpl.nativeUnRegisterSyncCallback", "@single");
  return "void";
}

std::string AnswerValue(const Arguments& arguments) {
  const std::vector<jbyte>& bytes = arguments[0].object->bytes;
  Client::Get().answers.value = kv::Value(std::vector<uint8_t>(bytes.begin(), bytes.end()));
  return "void";
}

}  // namespace

std::string OnClientThread(const std::function<void(const Callbacks&)>& call) {
  std::thread([&] { call(Client::Get().Held()); }).join();
  return "void";
}

jint Load(fake::FakeVm& vm) {
  Java::Get().Env();
  return JNI_OnLoad(&vm, nullptr);
}

void DefineOperations() {
  fake::Operations() = {
      {"JNI_OnLoad", [](const Arguments&) { return std::to_string(Load(Java::Get().Vm())); }},
      {"RegisterSingleKvStore",
       [](const Arguments&) { return std::to_string(RegisterSingleKvStore(&Java::Get().Env())); }},
      {"ExceptionObject",
       [](const Arguments& arguments) {
         auto status = static_cast<kv::Status>(arguments[0].number);
         return std::string(
             kv::JavaException::ExceptionObject(&Java::Get().Env(), status, arguments[1].object->text)
                 ? "true"
                 : "false");
       }},
      {"OnChange",
       [](const Arguments&) {
         return OnClientThread([](const Callbacks& held) { held.observers.back()->OnChange(Change()); });
       }},
      {"OnChangeWithSnapshot", OnChangeWithSnapshot},
      {"SyncCompleted", SyncCompleted},
      {"OnDeviceChanged",
       [](const Arguments& arguments) {
         return OnClientThread([&](const Callbacks& held) {
           held.listeners.back()->OnDeviceChanged(Client::Get().answers.devices.front(),
                                                  static_cast<kv::DeviceChangeType>(arguments[0].number));
         });
       }},
      {"OnRemoteDied",
       [](const Arguments&) {
         return OnClientThread([](const Callbacks& held) { held.recipients.back()->OnRemoteDied(); });
       }},
      {"HoldSync", HoldSync},
      {"AnswerValue", AnswerValue},
      {"ForgetCallbacks", [](const Arguments&) { return Client::Get().Drop(), std::string("void"); }},
      {"FailNext",
       [](const Arguments& arguments) {
         Java::Get().FailCall(arguments[0].object->text, static_cast<int>(arguments[1].number));
         return std::string("void");
       }},
  };
}
