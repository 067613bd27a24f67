#include "store/jni_kv_store_observer_impl.h"

#include "jni/boundary.h"
#include "jni/handle.h"
#include "jni/java_c_utils.h"
#include "jni/java_class.h"
#include "jni/log.h"

namespace KORA::DistributedKv {
namespace {

constexpr Log kOnChangeLog(kObserverTag, "OnChange");
constexpr const char* kSnapshotClass = "kora/data/distributed/user/KvStoreSnapshotImpl";
constexpr const char* kOnChangeSignature = "(Lkora/data/distributed/common/ChangeNotification;)V";
constexpr const char* kOnChangeWithSnapshotSignature =
    "(Lkora/data/distributed/common/ChangeNotification;Lkora/data/distributed/user/KvStoreSnapshot;)V";

// A snapshot that finds no Java object stays with the caller.
jobject BuildJavaSnapshot(JavaClass& snapshotClass, std::unique_ptr<KvStoreSnapshot>& snapshot) {
  jobject javaSnapshot = snapshotClass.NewObject("(J)V", ToHandle(snapshot.get()));
  if (javaSnapshot != nullptr)
    snapshot.release();  // NOLINT(bugprone-unused-return-value): the object owns it now
  return javaSnapshot;
}

}  // namespace

JniKvStoreObserverImpl::JniKvStoreObserverImpl(JNIEnv* env, jobject observer, jlong storeHandle)
    : observer_(env->NewGlobalRef(observer)), storeHandle_(storeHandle) {
  constexpr Log log(kObserverTag, "JniKvStoreObserverImpl");
  log.Info("%s: JniKvStoreObserverImpl this");
}

JniKvStoreObserverImpl::~JniKvStoreObserverImpl() {
  constexpr Log log(kObserverTag, "~JniKvStoreObserverImpl");
  log.Info("%s: ~JniKvStoreObserverImpl this");
}

void JniKvStoreObserverImpl::OnChange(const ChangeNotification& notification) {
  GuardCallback(kOnChangeLog, [&] { CallOnChange(notification); });
}

void JniKvStoreObserverImpl::OnChange(const ChangeNotification& notification,
                                      std::unique_ptr<KvStoreSnapshot> snapshot) {
  GuardCallback(kOnChangeLog, [&] { CallOnChange(notification, std::move(snapshot)); });
}

void JniKvStoreObserverImpl::CallOnChange(const ChangeNotification& notification) {
  const Log& log = kOnChangeLog;
  log.Debug("%s: onChange begin");
  if (observer_ == nullptr) {
    log.Error("%s: onChange observer is nullptr");
    return;
  }
  const CallbackEnv callbackEnv;
  JNIEnv* env = callbackEnv.Get();
  if (env == nullptr) {
    log.Error("%s: onChange observer env is null");
    return;
  }
  jobject javaNotification = JavaCUtils::BuildJavaChangeNotification(env, notification);
  JavaClass observerClass(env, observer_);
  jmethodID onChange = observerClass.GetMethod("onChange", kOnChangeSignature);
  if (onChange == nullptr) {
    log.Error("%s: onChange method is null");
    return;
  }
  env->CallVoidMethod(observer_, onChange, javaNotification);
  log.Debug("%s: OnChange end");
}

void JniKvStoreObserverImpl::CallOnChange(const ChangeNotification& notification,
                                          std::unique_ptr<KvStoreSnapshot> snapshot) {
  const Log& log = kOnChangeLog;
  log.Debug("%s: JniObserver OnChange begin");
  if (observer_ == nullptr) {
    log.Error("%s: JniObserver OnChange: observer is nullptr");
    return;
  }
  const CallbackEnv callbackEnv;
  JNIEnv* env = callbackEnv.Get();
  if (env == nullptr) {
    log.Error("%s: JniObserver OnChange: cannot get JNIEnv");
    return;
  }
  jobject javaNotification = JavaCUtils::BuildJavaChangeNotification(env, notification);
  JavaClass snapshotClass(env, kSnapshotClass);
  jobject javaSnapshot = BuildJavaSnapshot(snapshotClass, snapshot);
  JavaClass observerClass(env, observer_);
  jmethodID onChange = observerClass.GetMethod("onChange", kOnChangeWithSnapshotSignature);
  if (onChange == nullptr) {
    log.Error("%s: onChangeMethodID null.");
    return;
  }
  log.Debug("%s: JniObserver OnChange begin to call java onChange");
  env->CallVoidMethod(observer_, onChange, javaNotification, javaSnapshot);
}

}  // namespace KORA::DistributedKv
