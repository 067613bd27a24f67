// The natives of kora/data/distributed/user/MultiKvStoreImpl.
#include <jni.h>

#include <cstdint>
#include <memory>
#include <vector>

#include "contract/kv_store.h"
#include "jni/handle.h"
#include "jni/java_c_utils.h"
#include "jni/java_class.h"
#include "jni/java_exception.h"
#include "jni/log.h"
#include "jni/native_method.h"
#include "jni/registration.h"
#include "registries.h"
#include "store/observer_natives.h"
#include "store/write_natives.h"

namespace KORA::DistributedKv {
namespace {

constexpr Log LogOf(const char* label) {
  return {kManagerTag, label};
}

jboolean ToJava(bool value) {
  return value ? JNI_TRUE : JNI_FALSE;
}

// Single writes

bool CheckOpen(JNIEnv* env, const Log& log, jlong handle) {
  if (handle != 0) return true;
  log.Error("%s: kvStore has been closed.");
  Throw(env, Status::STORE_NOT_OPEN, "kvStore has been closed.");
  return false;
}

jboolean NativePut(JNIEnv* env, jobject /*self*/, jbyteArray javaKey, jobject javaValue, jlong handle) {
  constexpr Log log = LogOf("NativePut");
  if (!CheckOpen(env, log, handle)) return JNI_FALSE;
  std::vector<uint8_t> keyBytes;
  if (!JavaCUtils::CopyKeyFromJava2C(env, javaKey, keyBytes)) {
    log.Error("%s: store NativePut key failed.");
    return JNI_FALSE;
  }
  const Key key(keyBytes);
  std::vector<uint8_t> valueBytes;
  if (!JavaCUtils::CopyValueFromJava2C(env, javaValue, valueBytes)) {
    log.Error("%s: store NativePut value failed.");
    Throw(env, Status::DEFAULT_ERROR);
    return JNI_FALSE;
  }
  const Status status = ToPointer<KvStore>(handle)->Put(key, Value(valueBytes));
  if (status != Status::SUCCESS) {
    log.Error("%s: appKvStore native put exception, status=%d", static_cast<int>(status));
    Throw(env, status);
    return JNI_FALSE;
  }
  return JNI_TRUE;
}

jboolean NativeDelete(JNIEnv* env, jobject /*self*/, jbyteArray javaKey, jlong handle) {
  constexpr Log log = LogOf("NativeDelete");
  if (!CheckOpen(env, log, handle)) return JNI_FALSE;
  std::vector<uint8_t> keyBytes;
  if (!JavaCUtils::CopyKeyFromJava2C(env, javaKey, keyBytes)) {
    log.Error("%s: store NativeDel key failed.");
    return JNI_FALSE;
  }
  const Status status = ToPointer<KvStore>(handle)->Delete(Key(keyBytes));
  if (status != Status::SUCCESS) {
    log.Error("%s: appKvStore native delete exception, status=%d", static_cast<int>(status));
    Throw(env, status);
    return JNI_FALSE;
  }
  return JNI_TRUE;
}

// Batches, clear and transactions

void ReportUnreadableValue(const Log& log, UtfChars& key) {
  key.Release();
  log.Warn("%s: NativePutBatch copy value failed");
}

void NativePutBatch(JNIEnv* env, jobject /*self*/, jobjectArray entries, jlong handle) {
  PutBatch<KvStore>(env, LogOf("NativePutBatch"), ReportUnreadableValue, entries, handle);
}

void NativeDeleteBatch(JNIEnv* env, jobject /*self*/, jobjectArray keys, jlong handle) {
  constexpr Log log = LogOf("NativeDeleteBatch");
  log.Debug("%s: nativeDeleteBatch begin");
  DeleteBatch<KvStore>(env, log, "%s: keys is Null.", keys, handle);
}

void NativeClear(JNIEnv* env, jobject /*self*/, jlong handle) {
  constexpr Log log = LogOf("NativeClear");
  log.Debug("%s: nativeClear begin");
  if (handle == 0) {
    log.Error("%s: Invalid KvStore pointer.");
    return;
  }
  const Status status = ToPointer<KvStore>(handle)->Clear();
  if (status != Status::SUCCESS) {
    log.Warn("%s: nativeClear exception %ld", static_cast<long>(handle));
    Throw(env, status);
  }
}

void NativeStartTransaction(JNIEnv* env, jobject /*self*/, jlong handle) {
  constexpr Log log = LogOf("NativeStartTransaction");
  log.Debug("%s: nativeStartTransaction begin");
  Transact(env, log, kStartTransactionTexts, &KvStore::StartTransaction, handle);
}

void NativeCommit(JNIEnv* env, jobject /*self*/, jlong handle) {
  constexpr Log log = LogOf("NativeCommit");
  log.Debug("%s: nativeCommit begin");
  Transact(env, log, kCommitTexts, &KvStore::Commit, handle);
}

void NativeRollback(JNIEnv* env, jobject /*self*/, jlong handle) {
  Transact(env, LogOf("NativeRollback"), kRollbackTexts, &KvStore::Rollback, handle);
}

// Observers

struct MultiStoreObservers {
  using Store = KvStore;
  static auto& Registry() { return g_observerMap; }
  // A multi-version store tells of all changes, whatever type was asked for.
  static SubscribeType TypeOf(JNIEnv* /*env*/, jobject /*javaType*/) { return SubscribeType::ALL; }
  static void LogUnsubscribeFailure(const Log& log, Status /*status*/) {
    log.Info("%s: NativeUnregisterObserver ret fail");
  }
};

jboolean NativeSubscribe(JNIEnv* env, jobject /*self*/, jobject type, jobject observer, jobject config,
                         jlong handle) {
  if (handle == 0) return JNI_FALSE;
  constexpr Log log = LogOf("NativeRegisterObserver");
  return ToJava(Subscribe<MultiStoreObservers>(env, log, {type, observer, config}, handle));
}

jboolean NativeUnSubscribe(JNIEnv* env, jobject /*self*/, jobject type, jobject observer, jobject config,
                           jlong handle) {
  if (handle == 0) return JNI_FALSE;
  constexpr Log log = LogOf("NativeUnregisterObserver");
  return ToJava(Unsubscribe<MultiStoreObservers>(env, log, {type, observer, config}, handle));
}

// Snapshots

// The observer is not used: a snapshot never notifies.
jlong NativeGetKvStoreSnapshot(JNIEnv* env, jobject /*self*/, jobject /*observer*/, jlong handle) {
  constexpr Log log = LogOf("NativeGetKvStoreSnapshot");
  log.Debug("%s: nativeGetKvStoreSnapshot begin.");
  if (handle == 0) {
    log.Error("%s: Invalid KvStore pointer.");
    return 0;
  }
  Status status = Status::ERROR;
  jlong snapshotHandle = 0;
  ToPointer<KvStore>(handle)->GetKvStoreSnapshot(
      nullptr, [&](Status taken, std::unique_ptr<KvStoreSnapshot> snapshot) {
        status = taken;
        if (taken == Status::SUCCESS && snapshot != nullptr) snapshotHandle = ToHandle(snapshot.release());
      });
  if (status == Status::SUCCESS) return snapshotHandle;
  log.Warn("%s: NativeGetKvStoreSnapshot exception");
  Throw(env, status);
  return 0;
}

void NativeReleaseKvStoreSnapshot(JNIEnv* env, jobject /*self*/, jlong handle, jobject javaSnapshot) {
  constexpr Log log = LogOf("NativeReleaseKvStoreSnapshot");
  log.Debug("%s: nativeReleaseKvStoreSnapshot begin.");
  JavaClass snapshotClass(env, javaSnapshot);
  if (!snapshotClass) {
    log.Warn("%s: NativeReleaseKvStoreSnapshot error.");
    Throw(env, Status::INVALID_ARGUMENT);
    return;
  }
  jfieldID handleField = snapshotClass.GetField("nativeSnapshot", "J");
  const jlong snapshotHandle = snapshotClass.GetLongField(javaSnapshot, handleField);
  if (handle == 0) {
    log.Error("%s: Invalid KvStore pointer.");
    return;
  }
  // Destroyed whatever the store answers.
  std::unique_ptr<KvStoreSnapshot> snapshot(ToPointer<KvStoreSnapshot>(snapshotHandle));
  const Status status = ToPointer<KvStore>(handle)->ReleaseKvStoreSnapshot(std::move(snapshot));
  if (status != Status::SUCCESS) {
    log.Warn("%s: NativeReleaseKvStoreSnapshot error.");
    Throw(env, status);
    return;
  }
  snapshotClass.SetLongField(javaSnapshot, handleField, 0);
}

constexpr NativeMethod kMethods[] = {
    Method<NativePut>("nativePut", "([BLkora/data/distributed/common/Value;J)Z"),
    Method<NativeDelete>("nativeDelete", "([BJ)Z"),
    Method<NativeSubscribe>(
        "nativeSubscribe",
        "(Lkora/data/distributed/common/SubscribeType;Lkora/data/distributed/common/KvStoreObserver;"
        "Lkora/data/distributed/common/KvManagerConfig;J)Z"),
    Method<NativeUnSubscribe>(
        "nativeUnSubscribe",
        "(Lkora/data/distributed/common/SubscribeType;Lkora/data/distributed/common/KvStoreObserver;"
        "Lkora/data/distributed/common/KvManagerConfig;J)Z"),
    Method<NativeGetKvStoreSnapshot>("nativeGetKvStoreSnapshot",
                                     "(Lkora/data/distributed/common/KvStoreObserver;J)J"),
    Method<NativeReleaseKvStoreSnapshot>("nativeReleaseKvStoreSnapshot",
                                         "(JLkora/data/distributed/user/KvStoreSnapshot;)V"),
    Method<NativePutBatch>("nativePutBatch", "([Lkora/data/distributed/common/Entry;J)V"),
    Method<NativeDeleteBatch>("nativeDeleteBatch", "([Ljava/lang/String;J)V"),
    Method<NativeClear>("nativeClear", "(J)V"),
    Method<NativeStartTransaction>("nativeStartTransaction", "(J)V"),
    Method<NativeCommit>("nativeCommit", "(J)V"),
    Method<NativeRollback>("nativeRollback", "(J)V"),
};

}  // namespace

jint RegisterKvStore(JNIEnv* env, jclass multiKvStoreClass) {
  return RegisterMethods(env, multiKvStoreClass, kMethods);
}

}  // namespace KORA::DistributedKv
