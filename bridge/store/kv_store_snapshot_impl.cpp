// The natives of kora/data/distributed/user/KvStoreSnapshotImpl.
#include <jni.h>

#include <cstdint>
#include <vector>

#include "contract/kv_store_snapshot.h"
#include "jni/handle.h"
#include "jni/java_c_utils.h"
#include "jni/java_exception.h"
#include "jni/log.h"
#include "jni/native_method.h"
#include "jni/registration.h"

namespace KORA::DistributedKv {
namespace {

constexpr Log LogOf(const char* label) {
  return {kManagerTag, label};
}

jobject NativeGet(JNIEnv* env, jobject /*self*/, jbyteArray javaKey, jlong handle) {
  constexpr Log log = LogOf("NativeGet");
  if (handle == 0) {
    log.Error("%s: snapshot has been closed.");
    Throw(env, Status::STORE_NOT_OPEN, "snapshot has been closed.");
    return nullptr;
  }
  std::vector<uint8_t> keyBytes;
  if (!JavaCUtils::CopyKeyFromJava2C(env, javaKey, keyBytes)) return nullptr;
  Value value;
  const Status status = ToPointer<KvStoreSnapshot>(handle)->Get(Key(keyBytes), value);
  if (status != Status::SUCCESS) {
    log.Error("%s: snapshot NativeGet failed.");
    Throw(env, status);
    return nullptr;
  }
  return JavaCUtils::CopyValueFromC2Java(env, value);
}

jobject NativeGetEntries(JNIEnv* env, jobject /*self*/, jbyteArray javaPrefix, jlong handle) {
  constexpr Log log = LogOf("NativeGetEntries");
  log.Debug("%s: NativeGetEntries start.");
  if (handle == 0) {
    log.Warn("%s: NativeGetEntries snapshot null.");
    Throw(env, Status::ERROR);
    return nullptr;
  }
  std::vector<uint8_t> prefixBytes;
  if (!JavaCUtils::CopyKeyFromJava2C(env, javaPrefix, prefixBytes)) return nullptr;
  // What fails inside the callback leaves the status as it is here.
  Status status = Status::ERROR;
  std::vector<Entry> entries;
  ToPointer<KvStoreSnapshot>(handle)->GetEntries(Key(prefixBytes),
                                                 [&](Status read, std::vector<Entry>& delivered) {
                                                   if (read == Status::SUCCESS) entries = delivered;
                                                   status = read;
                                                 });
  // Both texts name the release; whoever searches logs for them knows them so.
  if (status != Status::SUCCESS) {
    log.Error("%s: nativeReleaseKvStoreSnapshot failed.");
    Throw(env, status);
    return nullptr;
  }
  log.Debug("%s: nativeReleaseKvStoreSnapshot success.");
  return JavaCUtils::BuildJavaList(env, entries);
}

void AddKeys(JNIEnv* env, jobject& list, const std::vector<Key>& keys) {
  for (const Key& key : keys) {
    JavaCUtils::ArrayAdd(env, list, env->NewStringUTF(key.ToString().c_str()));
  }
}

// On failure the empty list is returned with the exception pending.
jobject NativeGetKeys(JNIEnv* env, jobject /*self*/, jbyteArray javaPrefix, jlong handle) {
  constexpr Log log = LogOf("NativeGetKeys");
  log.Debug("%s: nativeGetKeys begin.");
  if (handle == 0) {
    log.Error("%s: Invalid KvStoreSnapshot pointer.");
    return nullptr;
  }
  jobject list = JavaCUtils::ArrayInstance(env);
  std::vector<uint8_t> prefixBytes;
  if (!JavaCUtils::CopyKeyFromJava2C(env, javaPrefix, prefixBytes)) return nullptr;
  Status status = Status::ERROR;
  ToPointer<KvStoreSnapshot>(handle)->GetKeys(Key(prefixBytes), [&](Status read, std::vector<Key>& keys) {
    if (read == Status::SUCCESS) {
      AddKeys(env, list, keys);
    } else {
      constexpr Log callbackLog = LogOf("operator()");
      callbackLog.Warn("%s: nativeGetKeys callback failed, errCode %x.", static_cast<unsigned>(read));
    }
    status = read;
  });
  if (status != Status::SUCCESS) {
    log.Warn("%s: nativeGetKeys failed, errCode %x.", static_cast<unsigned>(status));
    Throw(env, status);
  }
  return list;
}

constexpr NativeMethod kMethods[] = {
    Method<NativeGet>("nativeGet", "([BJ)Lkora/data/distributed/common/Value;"),
    Method<NativeGetEntries>("nativeGetEntries", "([BJ)Ljava/util/List;"),
    Method<NativeGetKeys>("nativeGetKeys", "([BJ)Ljava/util/List;"),
};

}  // namespace

jint RegisterKvStoreSnapshot(JNIEnv* env, jclass snapshotClass) {
  return RegisterMethods(env, snapshotClass, kMethods);
}

}  // namespace KORA::DistributedKv
