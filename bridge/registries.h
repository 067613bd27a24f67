// The registries of callbacks, one for each kind of Java callback object.
#pragma once

#include <jni.h>

#include "jni/callback_registry.h"

namespace KORA::DistributedKv {

class DeviceListenerWrapper;
class JniKvStoreObserverImpl;
class JniServiceDeathRecipientImpl;

extern CallbackRegistry<JniServiceDeathRecipientImpl> g_serviceObserverMap;
extern CallbackRegistry<JniKvStoreObserverImpl> g_observerMap;  // multi-version stores
extern CallbackRegistry<DeviceListenerWrapper> g_deviceObserverMap;
extern CallbackRegistry<JniKvStoreObserverImpl> g_singleObserverMap;  // single stores

// The death of the store service ends these registrations; the keys' global references stay.
void DevObserverClear();
void SingleObserverClear();

// Closing a store drops its observers and deletes the keys' global references.
void CleanMultiObservers(JNIEnv* env, jlong storeHandle);
void CleanSingleObservers(JNIEnv* env, jlong storeHandle);

}  // namespace KORA::DistributedKv
