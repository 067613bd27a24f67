#include "floor/java_ids.h"

#include "floor/natives.h"

namespace floors {

JavaIds g_java;

namespace {

jclass Class(JNIEnv* env, const char* name) {
  return static_cast<jclass>(env->NewGlobalRef(env->FindClass(name)));
}

}  // namespace

void FindJava(JNIEnv* env) {
  JavaIds& java = g_java;
  env->GetJavaVM(&java.vm);
  java.value = Class(env, "kora/data/distributed/common/Value");
  java.newValue = env->GetMethodID(java.value, "<init>", "(B[B)V");
  java.valueType = env->GetFieldID(java.value, "type", "B");
  java.valuePayload = env->GetFieldID(java.value, "value", "[B");
  java.entry = Class(env, "kora/data/distributed/common/Entry");
  java.newEntry = env->GetMethodID(java.entry, "<init>", "()V");
  java.newFullEntry =
      env->GetMethodID(java.entry, "<init>", "(Ljava/lang/String;Lkora/data/distributed/common/Value;)V");
  java.entryKey = env->GetFieldID(java.entry, "key", "Ljava/lang/String;");
  java.entryValue = env->GetFieldID(java.entry, "value", "Lkora/data/distributed/common/Value;");
  java.list = Class(env, "java/util/ArrayList");
  java.newList = env->GetMethodID(java.list, "<init>", "()V");
  java.add = env->GetMethodID(java.list, "add", "(Ljava/lang/Object;)Z");
  java.emptyList = env->NewGlobalRef(env->NewObject(java.list, java.newList));
  java.change = Class(env, "kora/data/distributed/common/ChangeNotification");
  java.newChange = env->GetMethodID(java.change, "<init>", "()V");
  java.insertEntries = env->GetFieldID(java.change, "insertEntries", "Ljava/util/List;");
  java.updateEntries = env->GetFieldID(java.change, "updateEntries", "Ljava/util/List;");
  java.deleteEntries = env->GetFieldID(java.change, "deleteEntries", "Ljava/util/List;");
  java.deviceId = env->GetFieldID(java.change, "deviceId", "Ljava/lang/String;");
  java.onChange = env->GetMethodID(env->FindClass("kora/data/distributed/common/KvStoreObserver"), "onChange",
                                   "(Lkora/data/distributed/common/ChangeNotification;)V");
}

}  // namespace floors
