// The environment of the calling thread.
#pragma once

#include <jni.h>

#include <atomic>

namespace KORA::DistributedKv {

// Lives on the stack of one callback. A thread that the virtual machine does not know is attached for the
// helper's lifetime; a thread that was attached before stays attached.
class JNIEnvHelper {
 public:
  // Keeps the first virtual machine that it is given.
  static void NativeInit(JavaVM* vm);

  JNIEnvHelper();
  JNIEnvHelper(const JNIEnvHelper&) = delete;
  JNIEnvHelper& operator=(const JNIEnvHelper&) = delete;
  ~JNIEnvHelper();

  // Null when the thread could not be attached.
  JNIEnv* operator->() { return env_; }
  JNIEnv* Get() const { return env_; }

 private:
  static std::atomic<JavaVM*> javaVm_;

  JNIEnv* env_ = nullptr;
  bool attached_ = false;
};

}  // namespace KORA::DistributedKv
