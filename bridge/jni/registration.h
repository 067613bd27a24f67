// The registration of the natives, a step for each Java class. Each answers what RegisterNatives answers: a
// negative number on failure.
#pragma once

#include <jni.h>

extern "C" {

// Binds the single store's natives. The load does not need it (it binds the result set's with them), but it
// is part of the library's interface.
[[gnu::visibility("default")]] jint RegisterSingleKvStore(JNIEnv* env);
}

namespace KORA::DistributedKv {

// The three that take the class trust it to be there.
jint RegisterKvManager(JNIEnv* env, jclass kvManagerClass);
jint RegisterKvStore(JNIEnv* env, jclass multiKvStoreClass);
jint RegisterKvStoreSnapshot(JNIEnv* env, jclass snapshotClass);

jint RegisterKvStoreResultSet(JNIEnv* env);
// The result set's natives, then the single store's; 0 or -1.
jint RegisterSingleKvStoreInit(JNIEnv* env);

}  // namespace KORA::DistributedKv
