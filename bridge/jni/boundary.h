// The edge between Java or the store client and this library: no C++ exception crosses it.
#pragma once

#include <jni.h>

#include "jni/java_exception.h"
#include "jni/jni_env_helper.h"
#include "jni/log.h"

namespace KORA::DistributedKv {

// Nothing more can be done where even reporting the failure fails, for want of memory.
inline void ThrowGenericFailure(JNIEnv* env) noexcept {
  try {
    if (!env->ExceptionCheck()) Throw(env, Status::ERROR);
  } catch (...) {
    return;
  }
}

template <auto Native>
struct Boundary;

// A native as Java calls it: what C++ throws becomes the generic failure and the type's default value.
template <typename Result, typename... Args, Result (*Native)(JNIEnv*, jobject, Args...)>
struct Boundary<Native> {
  static Result JNICALL Call(JNIEnv* env, jobject self, Args... args) noexcept {
    try {
      return Native(env, self, args...);
    } catch (...) {
      ThrowGenericFailure(env);
      return Result();
    }
  }
};

// The environment of a callback. What Java code threw ends here: a thread of the store client that stays
// attached must not carry the exception into the next callback. An exception that was pending before belongs
// to the native that the store client calls back from.
class CallbackEnv {
 public:
  CallbackEnv() : pendingBefore_(Get() != nullptr && Get()->ExceptionCheck()) {}
  CallbackEnv(const CallbackEnv&) = delete;
  CallbackEnv& operator=(const CallbackEnv&) = delete;
  ~CallbackEnv() {
    JNIEnv* env = Get();
    if (env == nullptr || pendingBefore_ || !env->ExceptionCheck()) return;
    env->ExceptionDescribe();
    env->ExceptionClear();
  }

  // Null when the thread could not be attached.
  JNIEnv* Get() const { return helper_.Get(); }

 private:
  JNIEnvHelper helper_;
  const bool pendingBefore_;
};

// A callback as the store client calls it: there is nobody to tell but the log.
template <typename Body>
void GuardCallback(const Log& log, Body body) noexcept {
  try {
    body();
  } catch (...) {
    log.Error("%s: callback failed");
  }
}

}  // namespace KORA::DistributedKv
