// The library's entry point for the virtual machine.
#include <jni.h>

#include "jni/java_c_utils.h"
#include "jni/jni_env_helper.h"
#include "jni/log.h"
#include "jni/registration.h"

namespace KORA::DistributedKv {
namespace {

constexpr Log kLoadLog(kManagerTag, "JNI_OnLoad");

struct ClassStep {
  const char* className;
  jint (*registerNatives)(JNIEnv*, jclass);
  const char* failure;
};

constexpr ClassStep kManagerStep = {"kora/data/distributed/common/KvManagerImpl", RegisterKvManager,
                                    "%s: ERROR: native registration for RegisterKvManager failed\n"};
constexpr ClassStep kMultiStoreStep = {"kora/data/distributed/user/MultiKvStoreImpl", RegisterKvStore,
                                       "%s: ERROR: native registration for RegisterKvStore failed\n"};
constexpr ClassStep kSnapshotStep = {"kora/data/distributed/user/KvStoreSnapshotImpl",
                                     RegisterKvStoreSnapshot,
                                     "%s: ERROR: native registration for RegisterKvStoreSnapshot failed\n"};

void ReportMissingManager() {
  constexpr Log log(kManagerTag, "RegisterKvManager");
  log.Error("%s: can't find kvManager");
}

bool Run(JNIEnv* env, const ClassStep& step) {
  jclass clazz = env->FindClass(step.className);
  if (clazz == nullptr && &step == &kManagerStep) ReportMissingManager();
  if (clazz != nullptr && step.registerNatives(env, clazz) >= 0) return true;
  kLoadLog.Error(step.failure);
  return false;
}

bool Load(JNIEnv* env) {
  for (const ClassStep* step : {&kManagerStep, &kMultiStoreStep, &kSnapshotStep}) {
    if (!Run(env, *step)) return false;
  }
  if (RegisterSingleKvStoreInit(env) < 0) {
    kLoadLog.Error("%s: ERROR: native registration for RegisterSingleKvStore failed\n");
    return false;
  }
  if (!JavaCUtils::Init(env)) {
    kLoadLog.Error("%s: ERROR: native registration for InitClass failed\n");
    return false;
  }
  return true;
}

}  // namespace
}  // namespace KORA::DistributedKv

// What a failed step leaves registered stays so; the virtual machine refuses the library because of the
// answer.
extern "C" JNIEXPORT jint JNICALL JNI_OnLoad(JavaVM* vm, void* /*reserved*/) {
  using KORA::DistributedKv::kLoadLog;
  kLoadLog.Debug("%s: JNI_OnLoad start\n");
  JNIEnv* env = nullptr;
  if (vm->GetEnv(reinterpret_cast<void**>(&env), JNI_VERSION_1_4) != JNI_OK) {
    kLoadLog.Error("%s: JNI_OnLoad: GetEnv failed");
    return JNI_ERR;
  }
  if (!KORA::DistributedKv::Load(env)) return JNI_ERR;
  KORA::DistributedKv::JNIEnvHelper::NativeInit(vm);
  kLoadLog.Info("%s: JNI_OnLoad end.");
  return JNI_VERSION_1_4;
}
