// Java options as the store client takes them.
#pragma once

#include <jni.h>

#include "contract/types.h"

namespace KORA::DistributedKv {

// Reads the getters of a Java Options object. False when one of them can't be read; a security level that
// can't be read counts as none, and a missing binary schema as no schema.
bool GetOptions(JNIEnv* env, jobject javaOptions, Options& options);

}  // namespace KORA::DistributedKv
