#include "single/kv_store_sync_callback_impl.h"

#include "jni/boundary.h"
#include "jni/java_c_utils.h"
#include "jni/log.h"

namespace KORA::DistributedKv {
namespace {

constexpr Log kSyncCompletedLog(kSingleTag, "SyncCompleted");

void CallSyncCompleted(const std::map<std::string, Status>& results) {
  const Log& log = kSyncCompletedLog;
  log.Debug("%s: SyncCompleteCallback begin.");
  const CallbackEnv callbackEnv;
  JNIEnv* env = callbackEnv.Get();
  if (env == nullptr) {
    log.Error("%s: get env is null");
    return;
  }
  jobject map = JavaCUtils::HashMapDatas(env, results);
  const GlobalRefSlot::Use callback(globalSyncCallback(), env);
  if (callback.Get() == nullptr) {
    log.Error("%s: globalSyncCallback is null");
    return;
  }
  jclass callbackClass = env->GetObjectClass(callback.Get());
  if (callbackClass == nullptr) {
    log.Error("%s: get clazz is null");
    return;
  }
  jmethodID syncCompleted = env->GetMethodID(callbackClass, "syncCompleted", "(Ljava/util/Map;)V");
  if (syncCompleted == nullptr) {
    log.Error("%s: get sync method is null");
    return;
  }
  env->DeleteLocalRef(callbackClass);
  env->CallVoidMethod(callback.Get(), syncCompleted, map);
  log.Debug("%s: SyncCompleteCallback end.");
}

}  // namespace

GlobalRefSlot& globalSyncCallback() {
  static auto& slot = *new GlobalRefSlot;
  return slot;
}

void KvStoreSyncCallbackImpl::SyncCompleted(const std::map<std::string, Status>& results) {
  GuardCallback(kSyncCompletedLog, [&] { CallSyncCompleted(results); });
}

}  // namespace KORA::DistributedKv
