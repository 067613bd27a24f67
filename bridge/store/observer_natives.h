// Subscribing a Java observer to a store and taking it back, for both kinds of stores. A store's own file
// states what differs in a `Kind`:
//   using Store                                 the client's store
//   Registry()                                  -> where its observers are registered
//   TypeOf(env, javaType)                       -> the subscribe type to ask for
//   LogUnsubscribeFailure(log, status)
#pragma once

#include <jni.h>

#include <memory>

#include "contract/kv_store_observer.h"
#include "contract/status.h"
#include "contract/types.h"
#include "jni/handle.h"
#include "jni/java_class.h"
#include "jni/java_exception.h"
#include "jni/log.h"
#include "registries.h"
#include "store/jni_kv_store_observer_impl.h"

namespace KORA::DistributedKv {

// The Java arguments of both natives.
struct Subscription {
  jobject type;
  jobject observer;
  jobject config;
};

// Whether the manager config has a class; without one there is no manager to subscribe through.
inline bool CheckConfig(JNIEnv* env, const JavaClass& configClass) {
  if (configClass) return true;
  Throw(env, Status::INVALID_ARGUMENT);
  return false;
}

// The duplicate check and the entry into the registry are two steps: of two threads that subscribe one
// observer at once, both may succeed.
template <typename Kind>
bool Subscribe(JNIEnv* env, const Log& log, const Subscription& java, jlong handle) {
  if (Kind::Registry().Find(env, java.observer).first != nullptr) {
    log.Info("%s: nativeSubscribeKvStore already registered");
    Throw(env, Status::INVALID_ARGUMENT);
    return false;
  }
  const JavaClass configClass(env, java.config);
  if (!CheckConfig(env, configClass)) return false;

  const SubscribeType type = Kind::TypeOf(env, java.type);
  auto observer = std::make_shared<JniKvStoreObserverImpl>(env, java.observer, handle);
  const Status status = ToPointer<typename Kind::Store>(handle)->SubscribeKvStore(type, observer);
  if (status != Status::SUCCESS) {
    log.Warn("%s: nativeSubscribeKvStore native register failed.");
    Throw(env, status);
    return false;
  }
  jobject key = env->NewGlobalRef(java.observer);
  if (key == nullptr) {
    log.Error("%s: create globalObserver fail");
    return false;
  }
  env->DeleteLocalRef(java.observer);
  Kind::Registry().Insert(key, std::move(observer));
  return true;
}

inline bool ReportNotRegistered(JNIEnv* env, const Log& log) {
  log.Info("%s: observer has not been registered");
  Throw(env, Status::INVALID_ARGUMENT);
  return false;
}

template <typename Kind>
bool Unsubscribe(JNIEnv* env, const Log& log, const Subscription& java, jlong handle) {
  const auto [key, observer] = Kind::Registry().Find(env, java.observer);
  if (key == nullptr) return ReportNotRegistered(env, log);
  const JavaClass configClass(env, java.config);
  if (!CheckConfig(env, configClass)) return false;

  const SubscribeType type = Kind::TypeOf(env, java.type);
  const Status status = ToPointer<typename Kind::Store>(handle)->UnSubscribeKvStore(type, observer);
  if (status != Status::SUCCESS) {
    Kind::LogUnsubscribeFailure(log, status);
    Throw(env, status);
    return false;
  }
  const auto erased = Kind::Registry().FindAndErase(env, java.observer);
  if (erased.first == nullptr) return ReportNotRegistered(env, log);
  env->DeleteGlobalRef(erased.first);
  return true;
}

}  // namespace KORA::DistributedKv
