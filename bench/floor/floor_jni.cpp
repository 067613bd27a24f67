// Binds the hand-written natives, and what a program needs to drive the null client, to their Java classes.
#include <jni.h>

#include <cstdint>
#include <iterator>

#include "floor/natives.h"
#include "floor/null_client.h"
#include "platform_log.h"

namespace floors {

namespace {

namespace null = KORA::DistributedKv::NullClient;

JNINativeMethod Method(const char* name, const char* signature, void* function) {
  return {const_cast<char*>(name), const_cast<char*>(signature), function};
}

template <typename Function>
void* Address(Function function) {
  return reinterpret_cast<void*>(function);
}

bool BindNatives(JNIEnv* env, const char* className, const Natives& natives) {
  const JNINativeMethod methods[] = {
      Method("nativeGet", "([BJ)Lkora/data/distributed/common/Value;", Address(natives.get)),
      Method("nativePut", "([BLkora/data/distributed/common/Value;J)V", Address(natives.put)),
      Method("nativeDelete", "([BJ)V", Address(natives.remove)),
      Method("nativeGetEntries", "([BJ)Ljava/util/List;", Address(natives.getEntries)),
      Method("nativePutBatch", "([Lkora/data/distributed/common/Entry;J)V", Address(natives.putBatch)),
      Method("nativeMoveToNext", "(J)Z", Address(natives.moveToNext)),
      Method("nativeGetEntry", "(J)Lkora/data/distributed/common/Entry;", Address(natives.getEntry)),
      Method("nativeNotify", "(Lkora/data/distributed/common/KvStoreObserver;)V", Address(natives.notify)),
  };
  jclass type = env->FindClass(className);
  return type != nullptr && env->RegisterNatives(type, methods, std::size(methods)) == JNI_OK;
}

jlong StoreHandle(JNIEnv* /*env*/, jclass /*type*/) {
  return static_cast<jlong>(reinterpret_cast<uintptr_t>(&null::Store()));
}

jlong CursorHandle(JNIEnv* /*env*/, jclass /*type*/) {
  return static_cast<jlong>(reinterpret_cast<uintptr_t>(&null::Cursor()));
}

void Notify(JNIEnv* /*env*/, jclass /*type*/, jobject /*observer*/) {
  null::Notify();
}

void Log(JNIEnv* /*env*/, jclass /*type*/, jint lines) {
  for (jint i = 0; i < lines; ++i) __android_log_print(KORA_LOG_DEBUG, "floor", "%s: line", "Log");
}

bool BindNullClient(JNIEnv* env) {
  const JNINativeMethod methods[] = {
      Method("store", "()J", Address(StoreHandle)),
      Method("cursor", "()J", Address(CursorHandle)),
      Method("nativeNotify", "(Lkora/data/distributed/common/KvStoreObserver;)V", Address(Notify)),
      Method("log", "(I)V", Address(Log)),
  };
  jclass type = env->FindClass("kora/bench/floor/NullClient");
  return type != nullptr && env->RegisterNatives(type, methods, std::size(methods)) == JNI_OK;
}

}  // namespace

}  // namespace floors

extern "C" JNIEXPORT jint JNICALL JNI_OnLoad(JavaVM* vm, void* /*reserved*/) {
  JNIEnv* env = nullptr;
  if (vm->GetEnv(reinterpret_cast<void**>(&env), JNI_VERSION_1_4) != JNI_OK) return JNI_ERR;
  floors::FindJava(env);
  const bool bound = floors::BindNatives(env, "kora/bench/floor/RequiredNatives", floors::kRequired) &&
                     floors::BindNatives(env, "kora/bench/floor/LeastNatives", floors::kLeast) &&
                     floors::BindNullClient(env);
  return bound ? JNI_VERSION_1_4 : JNI_ERR;
}
