#include "manager/device_listener_wrapper.h"

#include "jni/boundary.h"
#include "jni/java_c_utils.h"
#include "jni/java_class.h"
#include "jni/jni_env_helper.h"
#include "jni/log.h"

namespace KORA::DistributedKv {
namespace {

constexpr Log kOnDeviceChangedLog(kDeviceListenerTag, "OnDeviceChanged");
constexpr const char* kDeviceStatusClass = "kora/data/distributed/device/DeviceStatus";
constexpr const char* kOnChangedSignature =
    "(Lkora/data/distributed/device/DeviceInfo;Lkora/data/distributed/device/DeviceStatus;)V";

}  // namespace

DeviceListenerWrapper::DeviceListenerWrapper(JNIEnv* env, jobject callback, DeviceFilterStrategy strategy)
    : callback_(env->NewGlobalRef(callback)), strategy_(strategy) {}

DeviceListenerWrapper::~DeviceListenerWrapper() {
  constexpr Log log(kDeviceListenerTag, "~DeviceListenerWrapper");
  log.Info("%s: ~DeviceListenerWrapper");
  JNIEnvHelper env;
  if (env.Get() == nullptr) {
    log.Error("%s: env is null");
    return;
  }
  env->DeleteGlobalRef(callback_);
}

void DeviceListenerWrapper::OnDeviceChanged(const DeviceInfo& device, const DeviceChangeType& type) const {
  GuardCallback(kOnDeviceChangedLog, [&] { CallOnChanged(device, type); });
}

void DeviceListenerWrapper::CallOnChanged(const DeviceInfo& device, DeviceChangeType type) const {
  const Log& log = kOnDeviceChangedLog;
  if (callback_ == nullptr) {
    log.Error("%s: listener is null.");
    return;
  }
  const CallbackEnv callbackEnv;
  JNIEnv* env = callbackEnv.Get();
  if (env == nullptr) {
    log.Error("%s: env is null.");
    return;
  }
  const char* statusName = type == DeviceChangeType::ONLINE ? "ONLINE" : "OFFLINE";
  jobject status = JavaCUtils::GetJavaEnumByName(env, kDeviceStatusClass, statusName);
  if (status == nullptr) {
    log.Error("%s: get enum object failed.");
    return;
  }
  JavaClass callbackClass(env, callback_);
  jmethodID onChanged = callbackClass.GetMethod("onChanged", kOnChangedSignature);
  if (onChanged == nullptr) log.Error("%s: get change method failed.");
  jobject info = JavaCUtils::BuildDeviceInfo(env, device);
  if (info == nullptr) log.Error("%s: build device info object failed for device change.");
  if (onChanged != nullptr && info != nullptr) env->CallVoidMethod(callback_, onChanged, info, status);
}

}  // namespace KORA::DistributedKv
