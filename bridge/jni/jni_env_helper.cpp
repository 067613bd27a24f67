#include "jni/jni_env_helper.h"

namespace KORA::DistributedKv {

std::atomic<JavaVM*> JNIEnvHelper::javaVm_{nullptr};

void JNIEnvHelper::NativeInit(JavaVM* vm) {
  JavaVM* none = nullptr;
  javaVm_.compare_exchange_strong(none, vm);
}

JNIEnvHelper::JNIEnvHelper() {
  JavaVM* vm = javaVm_.load();
  if (vm->GetEnv(reinterpret_cast<void**>(&env_), JNI_VERSION_1_4) != JNI_EDETACHED) return;
  vm->AttachCurrentThread(reinterpret_cast<void**>(&env_), nullptr);
  attached_ = true;
}

JNIEnvHelper::~JNIEnvHelper() {
  if (attached_) javaVm_.load()->DetachCurrentThread();
}

}  // namespace KORA::DistributedKv
