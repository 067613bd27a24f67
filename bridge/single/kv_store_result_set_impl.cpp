// The natives of kora/data/distributed/common/KvStoreResultSetImpl.
#include <jni.h>

#include "contract/kv_store_result_set.h"
#include "jni/handle.h"
#include "jni/java_c_utils.h"
#include "jni/java_exception.h"
#include "jni/log.h"
#include "jni/native_method.h"
#include "jni/registration.h"

namespace KORA::DistributedKv {
namespace {

constexpr const char* kNullResultSet = "native resultSet is nullptr";

constexpr Log LogOf(const char* label) {
  return {kResultSetTag, label};
}

// Null, with the failure logged and thrown, for a handle of 0.
KvStoreResultSet* ResultSetOf(JNIEnv* env, const Log& log, jlong handle) {
  if (handle == 0) {
    log.Error("%s: native resultSet is nullptr");
    Throw(env, Status::ERROR, kNullResultSet);
  }
  return ToPointer<KvStoreResultSet>(handle);
}

int32_t Ask(JNIEnv* env, const char* label, jlong handle, int32_t (KvStoreResultSet::*number)() const) {
  KvStoreResultSet* resultSet = ResultSetOf(env, LogOf(label), handle);
  return resultSet == nullptr ? 0 : (resultSet->*number)();
}

template <typename Operation, typename... Args>
jboolean Check(JNIEnv* env, const char* label, jlong handle, Operation operation, Args... args) {
  KvStoreResultSet* resultSet = ResultSetOf(env, LogOf(label), handle);
  return resultSet != nullptr && (resultSet->*operation)(args...) ? JNI_TRUE : JNI_FALSE;
}

jint NativeGetCount(JNIEnv* env, jobject /*self*/, jlong handle) {
  return Ask(env, "SingleGetCount", handle, &KvStoreResultSet::GetCount);
}

jint NativeGetPosition(JNIEnv* env, jobject /*self*/, jlong handle) {
  return Ask(env, "SingleGetPosition", handle, &KvStoreResultSet::GetPosition);
}

jboolean NativeMoveToFirst(JNIEnv* env, jobject /*self*/, jlong handle) {
  return Check(env, "SingleMoveToFirst", handle, &KvStoreResultSet::MoveToFirst);
}

jboolean NativeMoveToLast(JNIEnv* env, jobject /*self*/, jlong handle) {
  return Check(env, "SingleMoveToLast", handle, &KvStoreResultSet::MoveToLast);
}

jboolean NativeMoveToNext(JNIEnv* env, jobject /*self*/, jlong handle) {
  return Check(env, "SingleMoveToNext", handle, &KvStoreResultSet::MoveToNext);
}

jboolean NativeMoveToPrevious(JNIEnv* env, jobject /*self*/, jlong handle) {
  return Check(env, "SingleMoveToPrevious", handle, &KvStoreResultSet::MoveToPrevious);
}

jboolean NativeMove(JNIEnv* env, jobject /*self*/, jlong handle, jint offset) {
  return Check(env, "SingleMove", handle, &KvStoreResultSet::Move, offset);
}

jboolean NativeMoveToPosition(JNIEnv* env, jobject /*self*/, jlong handle, jint position) {
  return Check(env, "SingleMoveToPosition", handle, &KvStoreResultSet::MoveToPosition, position);
}

jboolean NativeIsFirst(JNIEnv* env, jobject /*self*/, jlong handle) {
  return Check(env, "SingleIsFirst", handle, &KvStoreResultSet::IsFirst);
}

jboolean NativeIsLast(JNIEnv* env, jobject /*self*/, jlong handle) {
  return Check(env, "SingleIsLast", handle, &KvStoreResultSet::IsLast);
}

jboolean NativeIsBeforeFirst(JNIEnv* env, jobject /*self*/, jlong handle) {
  return Check(env, "SingleIsBeforeFirst", handle, &KvStoreResultSet::IsBeforeFirst);
}

jboolean NativeIsAfterLast(JNIEnv* env, jobject /*self*/, jlong handle) {
  return Check(env, "SingleIsAfterLast", handle, &KvStoreResultSet::IsAfterLast);
}

jobject NativeGetEntry(JNIEnv* env, jobject /*self*/, jlong handle) {
  constexpr Log log = LogOf("SingleGetEntry");
  KvStoreResultSet* resultSet = ResultSetOf(env, log, handle);
  if (resultSet == nullptr) return nullptr;
  Entry entry;
  const Status status = resultSet->GetEntry(entry);
  if (status != Status::SUCCESS) {
    log.Error("%s: get entry failed.");
    Throw(env, status);
    return nullptr;
  }
  return JavaCUtils::BuildJavaKvEntry(env, entry);
}

constexpr NativeMethod kMethods[] = {
    Method<NativeGetCount>("nativeGetCount", "(J)I"),
    Method<NativeGetPosition>("nativeGetPosition", "(J)I"),
    Method<NativeMoveToFirst>("nativeMoveToFirst", "(J)Z"),
    Method<NativeMoveToLast>("nativeMoveToLast", "(J)Z"),
    Method<NativeMoveToNext>("nativeMoveToNext", "(J)Z"),
    Method<NativeMoveToPrevious>("nativeMoveToPrevious", "(J)Z"),
    Method<NativeMove>("nativeMove", "(JI)Z"),
    Method<NativeMoveToPosition>("nativeMoveToPosition", "(JI)Z"),
    Method<NativeIsFirst>("nativeIsFirst", "(J)Z"),
    Method<NativeIsLast>("nativeIsLast", "(J)Z"),
    Method<NativeIsBeforeFirst>("nativeIsBeforeFirst", "(J)Z"),
    Method<NativeIsAfterLast>("nativeIsAfterLast", "(J)Z"),
    Method<NativeGetEntry>("nativeGetEntry", "(J)Lkora/data/distributed/common/Entry;"),
};

}  // namespace

// The class goes to the virtual machine as it was found: a missing one fails there.
jint RegisterKvStoreResultSet(JNIEnv* env) {
  return RegisterMethods(env, env->FindClass("kora/data/distributed/common/KvStoreResultSetImpl"), kMethods);
}

}  // namespace KORA::DistributedKv
