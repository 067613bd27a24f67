#include "registries.h"

#include "manager/device_listener_wrapper.h"
#include "manager/jni_service_death_recipient_impl.h"
#include "store/jni_kv_store_observer_impl.h"

namespace KORA::DistributedKv {

// Built in this order when the library is loaded, destroyed in reverse when it is unloaded; one file holds
// all four because only within a file is the order of construction that of definition.
CallbackRegistry<JniServiceDeathRecipientImpl> g_serviceObserverMap;
CallbackRegistry<JniKvStoreObserverImpl> g_observerMap;
CallbackRegistry<DeviceListenerWrapper> g_deviceObserverMap;
CallbackRegistry<JniKvStoreObserverImpl> g_singleObserverMap;

namespace {

void CleanObservers(JNIEnv* env, CallbackRegistry<JniKvStoreObserverImpl>& registry, jlong storeHandle) {
  registry.EraseIf(env, [storeHandle](const JniKvStoreObserverImpl& observer) {
    return observer.StoreHandle() == storeHandle;
  });
}

}  // namespace

void DevObserverClear() {
  g_deviceObserverMap.Clear();
}

void SingleObserverClear() {
  g_singleObserverMap.Clear();
}

void CleanMultiObservers(JNIEnv* env, jlong storeHandle) {
  CleanObservers(env, g_observerMap, storeHandle);
}

void CleanSingleObservers(JNIEnv* env, jlong storeHandle) {
  if (storeHandle != 0) CleanObservers(env, g_singleObserverMap, storeHandle);
}

}  // namespace KORA::DistributedKv
