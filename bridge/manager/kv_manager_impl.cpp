// The natives of kora/data/distributed/common/KvManagerImpl.
#include <jni.h>

#include <functional>
#include <memory>
#include <new>
#include <string>
#include <utility>
#include <vector>

#include "contract/distributed_kv_data_manager.h"
#include "jni/handle.h"
#include "jni/java_c_utils.h"
#include "jni/java_class.h"
#include "jni/java_exception.h"
#include "jni/log.h"
#include "jni/native_method.h"
#include "jni/registration.h"
#include "jni/utf_chars.h"
#include "manager/device_listener_wrapper.h"
#include "manager/jni_service_death_recipient_impl.h"
#include "manager/options_conversion.h"
#include "registries.h"

namespace KORA::DistributedKv {
namespace {

using Manager = DistributedKvDataManager;

// Setup and stores

// The manager lives until the process ends.
jlong NativeSetup(JNIEnv* /*env*/, jobject /*self*/) {
  auto* manager = new (std::nothrow) Manager;
  if (manager == nullptr) {
    constexpr Log log(kManagerTag, "NativeSetup");
    log.Error("%s: init DistributedKvDataManager failed");
  }
  return ToHandle(manager);
}

// Takes the opened store over. One that comes with a failure is released from its owner and never deleted.
template <typename Store>
std::function<void(Status, std::unique_ptr<Store>)> OpenCallback(Status& status, jlong& handle) {
  return [&status, &handle](Status opened, std::unique_ptr<Store> store) {
    Store* released = store.release();
    if (opened == Status::SUCCESS && released != nullptr) handle = ToHandle(released);
    status = opened;
  };
}

Status OpenStore(Manager& manager, const Options& options, const AppId& appId, const StoreId& storeId,
                 jlong& handle) {
  Status status = Status::ERROR;
  if (options.kvStoreType == KvStoreType::MULTI_VERSION) {
    manager.GetKvStore(options, appId, storeId, OpenCallback<KvStore>(status, handle));
  } else {
    manager.GetSingleKvStore(options, appId, storeId, OpenCallback<SingleKvStore>(status, handle));
  }
  return status;
}

jlong NativeGetKvStore(JNIEnv* env, jobject /*self*/, jobject javaOptions, jstring javaStoreId,
                       jstring javaAppId, jlong manager) {
  constexpr Log log(kManagerTag, "NativeGetKvStore");
  log.Debug("%s: NativeGetKvStore start");
  if (manager == 0) {
    log.Error("%s: data manager is null");
    Throw(env, Status::INVALID_ARGUMENT);
    return 0;
  }
  const UtfChars storeId = UtfChars::UnlessPending(env, javaStoreId);
  const UtfChars appId = UtfChars::UnlessPending(env, javaAppId);
  Options options;
  if (!GetOptions(env, javaOptions, options)) {
    log.Error("%s: get Options error");
    Throw(env, Status::INVALID_ARGUMENT);
    return 0;
  }
  jlong handle = 0;
  const Status status =
      OpenStore(*ToPointer<Manager>(manager), options, AppId{appId.Text()}, StoreId{storeId.Text()}, handle);
  if (status != Status::SUCCESS) {
    log.Warn("%s: native get kvStore error, status=%d", static_cast<int>(status));
    Throw(env, status);
    return 0;
  }
  log.Debug("%s: NativeGetKvStore end. %d", static_cast<int>(status));
  return handle;
}

// A store that was closed already, or never open, counts as closed.
bool IsClosed(Status status) {
  return status == Status::SUCCESS || status == Status::STORE_ALREADY_CLOSED ||
         status == Status::STORE_NOT_OPEN;
}

// The client closes by identifiers; the object stays the bridge's, and goes once the store is closed.
template <typename Store>
Status CloseAndDelete(Manager& manager, const AppId& appId, Store* store) {
  const StoreId storeId = store->GetStoreId();
  const Status status = manager.CloseKvStore(appId, storeId, std::unique_ptr<KvStore>());
  if (IsClosed(status)) delete store;
  return status;
}

Status CloseStore(Manager& manager, const AppId& appId, KvStoreType type, jlong handle) {
  return type == KvStoreType::MULTI_VERSION
             ? CloseAndDelete(manager, appId, ToPointer<KvStore>(handle))
             : CloseAndDelete(manager, appId, ToPointer<SingleKvStore>(handle));
}

void NativeCloseKvStore(JNIEnv* env, jobject /*self*/, jobject javaOptions, jstring javaAppId,
                        jobject kvStore, jlong manager) {
  constexpr Log log(kManagerTag, "NativeCloseKvStore");
  log.Debug("%s: NativeCloseKvStore start.");
  if (manager == 0) {
    log.Error("%s: manager is nullptr.");
    return;
  }
  JavaClass storeClass(env, kvStore);
  if (!storeClass) {
    log.Error("%s: KvStoreClass is invalid, get Options error");
    Throw(env, Status::INVALID_ARGUMENT, "KvStoreClass is invalid, get Options error");
    return;
  }
  jfieldID handleField = storeClass.GetField("nativeKvStore", "J");
  if (handleField == nullptr) {
    env->ExceptionClear();  // an object of another class is no failure to Java
    log.Error("%s: nativeKvStore is nullptr");
    return;
  }
  const jlong handle = storeClass.GetLongField(kvStore, handleField);
  const UtfChars appId = UtfChars::UnlessPending(env, javaAppId);
  Options options;
  if (!GetOptions(env, javaOptions, options)) {
    log.Error("%s: get Options error");
    Throw(env, Status::INVALID_ARGUMENT, "get Options error");
    return;
  }
  if (handle == 0) {
    log.Error("%s: kvStore is nullptr.");
    return;
  }
  const Status status =
      CloseStore(*ToPointer<Manager>(manager), AppId{appId.Text()}, options.kvStoreType, handle);
  if (!IsClosed(status)) {
    log.Error("%s: native close kvStore error, status=%d", static_cast<int>(status));
    Throw(env, status);
    return;
  }
  log.Debug("%s: native close kvStore clear, status=%d", static_cast<int>(status));
  CleanMultiObservers(env, handle);
  CleanSingleObservers(env, handle);
  storeClass.SetLongField(kvStore, handleField, 0);
}

void NativeDeleteKvStore(JNIEnv* env, jobject /*self*/, jstring javaStoreId, jstring javaAppId,
                         jlong manager) {
  constexpr Log log(kManagerTag, "NativeDeleteKvStore");
  log.Debug("%s: start.");
  if (manager == 0) {
    log.Error("%s: manager is nullptr.");
    return;
  }
  const UtfChars storeIdChars = UtfChars::UnlessPending(env, javaStoreId);
  const UtfChars appIdChars = UtfChars::UnlessPending(env, javaAppId);
  const StoreId storeId{storeIdChars.Text()};
  const AppId appId{appIdChars.Text()};
  log.Debug("%s: info, storeId=%s, appId=%s", storeId.storeId.c_str(), appId.appId.c_str());
  const Status status = ToPointer<Manager>(manager)->DeleteKvStore(appId, storeId);
  if (status != Status::SUCCESS) {
    log.Warn("%s: error, status=%d", static_cast<int>(status));
    Throw(env, status);
    return;
  }
  log.Debug("%s: success");
}

jobject BuildStoreIdList(JNIEnv* env, const std::vector<StoreId>& storeIds) {
  jobject list = JavaCUtils::ArrayInstance(env);
  for (const StoreId& storeId : storeIds) {
    JavaCUtils::ArrayAdd(env, list, env->NewStringUTF(storeId.storeId.c_str()));
  }
  return list;
}

jobject NativeGetAllKvStoreId(JNIEnv* env, jobject /*self*/, jstring javaAppId, jlong manager) {
  constexpr Log log(kManagerTag, "NativeGetAllKvStoreId");
  log.Debug("%s: nativeGetAllKvStoreId begin");
  if (manager == 0) {
    log.Error("%s: Invalid manager pointer.");
    return nullptr;
  }
  const UtfChars appId = UtfChars::UnlessPending(env, javaAppId);
  Status status = Status::ERROR;
  jobject list = nullptr;
  ToPointer<Manager>(manager)->GetAllKvStoreId(
      AppId{appId.Text()}, [&](Status listed, std::vector<StoreId>& storeIds) {
        if (listed == Status::SUCCESS) {
          list = BuildStoreIdList(env, storeIds);
        } else {
          constexpr Log callbackLog(kManagerTag, "operator()");
          callbackLog.Error("%s: nativeGetAllKvStoreId return error");
        }
        status = listed;
      });
  if (status != Status::SUCCESS) {
    log.Error("%s: NativeGetAllKvStoreId failed, status=%d", static_cast<int>(status));
    Throw(env, status);
    return nullptr;
  }
  log.Debug("%s: nativeGetAllKvStoreId end");
  return list;
}

// Service death

void NativeRegisterServiceDeath(JNIEnv* env, jobject /*self*/, jobject javaRecipient, jlong manager) {
  constexpr Log log(kManagerTag, "RegisterServiceDeath");
  log.Info("%s: RegisterServiceDeath start");
  if (manager == 0) {
    log.Error("%s: data manager is null");
    Throw(env, Status::INVALID_ARGUMENT, "data manager is null");
    return;
  }
  jobject key = env->NewGlobalRef(javaRecipient);
  if (key == nullptr) {
    log.Error("%s: create globalObserver fail");
    return;
  }
  auto recipient = std::make_shared<JniServiceDeathRecipientImpl>(key);
  ToPointer<Manager>(manager)->RegisterKvStoreServiceDeathRecipient(recipient);
  env->DeleteLocalRef(javaRecipient);
  g_serviceObserverMap.Insert(key, std::move(recipient));
}

void NativeUnRegisterServiceDeath(JNIEnv* env, jobject /*self*/, jobject javaRecipient, jlong manager) {
  constexpr Log log(kManagerTag, "UnRegisterServiceDeath");
  log.Info("%s: UnRegisterServiceDeath start");
  if (manager == 0) {
    log.Error("%s: data manager is null");
    Throw(env, Status::INVALID_ARGUMENT, "data manager is null");
    return;
  }
  const auto [key, recipient] = g_serviceObserverMap.FindAndErase(env, javaRecipient);
  if (key == nullptr) {
    log.Info("%s: observer has not been registered");
    log.Error("%s: observer has not been registered");
    Throw(env, Status::INVALID_ARGUMENT, "observer has not been registered");
    return;
  }
  ToPointer<Manager>(manager)->UnRegisterKvStoreServiceDeathRecipient(recipient);
  recipient->DeleteRecipient(env);
}

// Devices

// A filter that can't be read filters nothing.
DeviceFilterStrategy StrategyOf(const UtfChars& filter) {
  return filter.Text() == "FILTER" ? DeviceFilterStrategy::FILTER : DeviceFilterStrategy::NO_FILTER;
}

jobject NativeGetLocalDeviceInfo(JNIEnv* env, jobject /*self*/, jlong manager) {
  constexpr Log log(kManagerTag, "GetLocalDeviceInfo");
  if (manager == 0) {
    log.Error("%s: init DistributedKvDataManager failed");
    return nullptr;
  }
  DeviceInfo device;
  const Status status = ToPointer<Manager>(manager)->GetLocalDevice(device);
  if (status != Status::SUCCESS) {
    log.Error("%s: get local device info failed status=%d.", static_cast<int>(status));
    Throw(env, status);
    return nullptr;
  }
  return JavaCUtils::BuildDeviceInfo(env, device);
}

jobject NativeGetConnectedDevicesInfo(JNIEnv* env, jobject /*self*/, jstring javaFilter, jlong manager) {
  constexpr Log log(kManagerTag, "GetConnectedDevicesInfo");
  if (manager == 0) {
    log.Error("%s: init DistributedKvDataManager failed");
    return nullptr;
  }
  const UtfChars filter = UtfChars::UnlessPending(env, javaFilter);
  std::vector<DeviceInfo> devices;
  const Status status = ToPointer<Manager>(manager)->GetDeviceList(devices, StrategyOf(filter));
  if (status != Status::SUCCESS) {
    log.Error("%s: get device infos failed status=%d.", static_cast<int>(status));
    Throw(env, status);
    return nullptr;
  }
  return JavaCUtils::BuildDeviceInfoList(env, devices);
}

void NativeRegisterDeviceChangeListener(JNIEnv* env, jobject /*self*/, jobject callback, jstring javaFilter,
                                        jlong manager) {
  constexpr Log log(kManagerTag, "RegisterDeviceChangeListener");
  if (manager == 0) {
    log.Error("%s: register device change failed, manager is null");
    Throw(env, Status::ERROR);
    return;
  }
  if (g_deviceObserverMap.Find(env, callback).first != nullptr) {
    log.Warn("%s: repeated register device change.");
    log.Error("%s: repeated register device change.");
    Throw(env, Status::ERROR, "repeated register device change.");
    return;
  }
  jobject key = env->NewGlobalRef(callback);
  if (key == nullptr) {
    log.Error("%s: create globalObserver fail");
    Throw(env, Status::ERROR);
    return;
  }
  const UtfChars filter = UtfChars::UnlessPending(env, javaFilter);
  auto listener = std::make_shared<DeviceListenerWrapper>(env, key, StrategyOf(filter));
  const Status status = ToPointer<Manager>(manager)->StartWatchDeviceChange(listener);
  if (status != Status::SUCCESS) {
    log.Error("%s: register device change status=%d.", static_cast<int>(status));
    log.Error("%s: register device change failed.");
    Throw(env, status, "register device change failed.");
    return;
  }
  g_deviceObserverMap.Insert(key, std::move(listener));
}

void NativeUnRegisterDeviceChangeListener(JNIEnv* env, jobject /*self*/, jobject callback, jlong manager) {
  constexpr Log log(kManagerTag, "UnRegisterDeviceChangeListener");
  if (manager == 0) {
    log.Error("%s: unregister device change failed, manager is null");
    Throw(env, Status::ERROR);
    return;
  }
  const auto listener = g_deviceObserverMap.Find(env, callback).second;
  if (listener == nullptr) {
    log.Error("%s: register device change failed.");
    Throw(env, Status::ERROR);
    return;
  }
  const Status status = ToPointer<Manager>(manager)->StopWatchDeviceChange(listener);
  if (status != Status::SUCCESS) {
    log.Error("%s: unregister device change status=%d.", static_cast<int>(status));
    log.Error("%s: unregister device change failed.");
    Throw(env, status, "unregister device change failed.");
    return;
  }
  const auto erased = g_deviceObserverMap.FindAndErase(env, callback);
  if (erased.first != nullptr) env->DeleteGlobalRef(erased.first);
}

constexpr NativeMethod kMethods[] = {
    Method<NativeSetup>("nativeSetup", "()J"),
    Method<NativeGetKvStore>(
        "nativeGetKvStore", "(Lkora/data/distributed/common/Options;Ljava/lang/String;Ljava/lang/String;J)J"),
    Method<NativeCloseKvStore>(
        "nativeCloseKvStore",
        "(Lkora/data/distributed/common/Options;Ljava/lang/String;Lkora/data/distributed/common/KvStore;J)V"),
    Method<NativeDeleteKvStore>("nativeDeleteKvStore", "(Ljava/lang/String;Ljava/lang/String;J)V"),
    Method<NativeGetAllKvStoreId>("nativeGetAllKvStoreId", "(Ljava/lang/String;J)Ljava/util/List;"),
    Method<NativeRegisterServiceDeath>("nativeRegisterServiceDeath",
                                       "(Lkora/data/distributed/common/KvStoreServiceDeathRecipient;J)V"),
    Method<NativeUnRegisterServiceDeath>("nativeUnRegisterServiceDeath",
                                         "(Lkora/data/distributed/common/KvStoreServiceDeathRecipient;J)V"),
    Method<NativeGetLocalDeviceInfo>("nativeGetLocalDeviceInfo",
                                     "(J)Lkora/data/distributed/device/DeviceInfo;"),
    Method<NativeGetConnectedDevicesInfo>("nativeGetConnectedDevicesInfo",
                                          "(Ljava/lang/String;J)Ljava/util/List;"),
    Method<NativeRegisterDeviceChangeListener>(
        "nativeRegisterDeviceChangeListener",
        "(Lkora/data/distributed/device/DeviceChangeCallback;Ljava/lang/String;J)V"),
    Method<NativeUnRegisterDeviceChangeListener>("nativeUnRegisterDeviceChangeListener",
                                                 "(Lkora/data/distributed/device/DeviceChangeCallback;J)V"),
};

}  // namespace

jint RegisterKvManager(JNIEnv* env, jclass kvManagerClass) {
  return RegisterMethods(env, kvManagerClass, kMethods);
}

}  // namespace KORA::DistributedKv
