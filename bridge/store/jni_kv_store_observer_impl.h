// Carries the changes of a store to a Java observer.
#pragma once

#include <jni.h>

#include <memory>

#include "contract/kv_store_observer.h"

namespace KORA::DistributedKv {

class JniKvStoreObserverImpl : public KvStoreObserver {
 public:
  // Makes a global reference to the observer that is never deleted: a change may be on its way to it at any
  // time. `storeHandle` tells which store the observer was subscribed to.
  JniKvStoreObserverImpl(JNIEnv* env, jobject observer, jlong storeHandle);
  JniKvStoreObserverImpl(const JniKvStoreObserverImpl&) = delete;
  JniKvStoreObserverImpl& operator=(const JniKvStoreObserverImpl&) = delete;
  ~JniKvStoreObserverImpl() override;

  // The Java object of the snapshot owns it from then on.
  void OnChange(const ChangeNotification& notification, std::unique_ptr<KvStoreSnapshot> snapshot) override;
  void OnChange(const ChangeNotification& notification) override;

  jlong StoreHandle() const { return storeHandle_; }

 private:
  void CallOnChange(const ChangeNotification& notification);
  void CallOnChange(const ChangeNotification& notification, std::unique_ptr<KvStoreSnapshot> snapshot);

  jobject observer_;
  jlong storeHandle_;
};

}  // namespace KORA::DistributedKv
