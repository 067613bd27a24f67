// The natives of kora/data/distributed/user/SingleKvStoreImpl.
#include <jni.h>

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "contract/single_kv_store.h"
#include "jni/handle.h"
#include "jni/java_c_utils.h"
#include "jni/java_class.h"
#include "jni/java_exception.h"
#include "jni/log.h"
#include "jni/native_method.h"
#include "jni/registration.h"
#include "jni/utf_chars.h"
#include "registries.h"
#include "single/kv_store_sync_callback_impl.h"
#include "store/observer_natives.h"
#include "store/write_natives.h"

namespace KORA::DistributedKv {
namespace {

constexpr const char* kClosed = "store has been closed.";

constexpr Log LogOf(const char* label) {
  return {kSingleTag, label};
}

SingleKvStore& StoreOf(jlong handle) {
  return *ToPointer<SingleKvStore>(handle);
}

// False, with the failure logged and thrown, for a handle of 0. Only the reading natives give the exception a
// message.
bool CheckOpen(JNIEnv* env, const Log& log, jlong handle, const char* message = "") {
  if (handle != 0) return true;
  log.Error("%s: store has been closed.");
  Throw(env, Status::STORE_NOT_OPEN, message);
  return false;
}

// Single reads and writes

jobject SingleGet(JNIEnv* env, jobject /*self*/, jbyteArray javaKey, jlong handle) {
  constexpr Log log = LogOf("SingleGet");
  if (!CheckOpen(env, log, handle, kClosed)) return nullptr;
  std::vector<uint8_t> keyBytes;
  if (!JavaCUtils::CopyKeyFromJava2C(env, javaKey, keyBytes)) {
    log.Error("%s: key copy error.");
    Throw(env, Status::INVALID_ARGUMENT);
    return nullptr;
  }
  Value value;
  const Status status = StoreOf(handle).Get(Key(keyBytes), value);
  if (status != Status::SUCCESS) {
    log.Error("%s: get result failed.");
    Throw(env, status);
    return nullptr;
  }
  return JavaCUtils::CopyValueFromC2Java(env, value);
}

void SinglePut(JNIEnv* env, jobject /*self*/, jbyteArray javaKey, jobject javaValue, jlong handle) {
  constexpr Log log = LogOf("SinglePut");
  log.Debug("%s: SingleKvStore native put start.");
  if (!CheckOpen(env, log, handle)) return;
  std::vector<uint8_t> keyBytes;
  if (!JavaCUtils::CopyKeyFromJava2C(env, javaKey, keyBytes)) {
    log.Error("%s: SingleKvStore native put exception.");
    Throw(env, Status::DEFAULT_ERROR);
    return;
  }
  std::vector<uint8_t> valueBytes;
  if (!JavaCUtils::CopyValueFromJava2C(env, javaValue, valueBytes)) {
    log.Error("%s: SingleKvStore native put value exception.");
    Throw(env, Status::DEFAULT_ERROR);
    return;
  }
  const Status status = StoreOf(handle).Put(Key(keyBytes), Value(valueBytes));
  if (status != Status::SUCCESS) {
    log.Error("%s: SingleKvStore native put exception, status=%d", static_cast<int>(status));
    Throw(env, status);
  }
}

void SingleDelete(JNIEnv* env, jobject /*self*/, jbyteArray javaKey, jlong handle) {
  constexpr Log log = LogOf("SingleDelete");
  if (!CheckOpen(env, log, handle)) return;
  std::vector<uint8_t> keyBytes;
  if (!JavaCUtils::CopyKeyFromJava2C(env, javaKey, keyBytes)) {
    Throw(env, Status::DEFAULT_ERROR);
    return;
  }
  const Status status = StoreOf(handle).Delete(Key(keyBytes));
  if (status != Status::SUCCESS) {
    log.Error("%s: SingleKvStore native delete exception, status=%d", static_cast<int>(status));
    Throw(env, status);
  }
}

// Entries

jobject SingleGetEntries(JNIEnv* env, jobject /*self*/, jbyteArray javaPrefix, jlong handle) {
  constexpr Log log = LogOf("SingleGetEntries");
  log.Debug("%s: start");
  if (!CheckOpen(env, log, handle, kClosed)) return nullptr;
  std::vector<uint8_t> prefixBytes;
  if (!JavaCUtils::CopyKeyFromJava2C(env, javaPrefix, prefixBytes)) {
    log.Warn("%s: get java key failed");
    return nullptr;
  }
  std::vector<Entry> entries;
  const Status status = StoreOf(handle).GetEntries(Key(prefixBytes), entries);
  if (status != Status::SUCCESS) {
    log.Warn("%s: get entries failed");
    Throw(env, status);
    return nullptr;
  }
  log.Debug("%s: end");
  return JavaCUtils::BuildJavaList(env, entries);
}

jobject SingleGetEntriesWithQuery(JNIEnv* env, jobject /*self*/, jstring javaQuery, jlong handle) {
  constexpr Log log = LogOf("SingleGetEntriesWithQuery");
  log.Debug("%s: SingleGetEntriesWithQuery() start");
  if (!CheckOpen(env, log, handle, kClosed)) return nullptr;
  const UtfChars query = UtfChars::UnlessPending(env, javaQuery);
  if (!query) return nullptr;
  std::vector<Entry> entries;
  const Status status = StoreOf(handle).GetEntriesWithQuery(query.Text(), entries);
  if (status != Status::SUCCESS) {
    log.Warn("%s: Native GetEntriesWithQuery failed");
    Throw(env, status);
    return nullptr;
  }
  log.Debug("%s: SingleGetEntriesWithQuery() end");
  return JavaCUtils::BuildJavaList(env, entries);
}

// A device identifier that can't be read is passed on as an empty one.
void SingleRemoveDeviceData(JNIEnv* env, jobject /*self*/, jstring javaDeviceId, jlong handle) {
  constexpr Log log = LogOf("SingleRemoveDeviceData");
  log.Debug("%s: begin");
  if (!CheckOpen(env, log, handle)) return;
  const UtfChars deviceId = UtfChars::UnlessPending(env, javaDeviceId);
  const Status status = StoreOf(handle).RemoveDeviceData(deviceId.Text(), 0);
  if (status != Status::SUCCESS) {
    log.Error("%s: return error: %d.", static_cast<int>(status));
    Throw(env, status);
  }
  log.Debug("%s: end.");
}

// Result sets

// Fills the locals of the native that asks.
SingleKvStore::ResultSetCallback Deliver(Status& status, std::unique_ptr<KvStoreResultSet>& resultSet) {
  return [&status, &resultSet](Status opened, std::unique_ptr<KvStoreResultSet> delivered) {
    status = opened;
    resultSet = std::move(delivered);
  };
}

jlong SingleGetResultSet(JNIEnv* env, jobject /*self*/, jbyteArray javaPrefix, jlong handle) {
  constexpr Log log = LogOf("SingleGetResultSet");
  if (!CheckOpen(env, log, handle, kClosed)) return 0;
  std::vector<uint8_t> prefixBytes;
  if (!JavaCUtils::CopyKeyFromJava2C(env, javaPrefix, prefixBytes)) return 0;
  Status status = Status::ERROR;
  std::unique_ptr<KvStoreResultSet> resultSet;
  StoreOf(handle).GetResultSet(Key(prefixBytes), Deliver(status, resultSet));
  if (status != Status::SUCCESS) {
    log.Error("%s: NativeGetResultSet failed.");
    Throw(env, status);
    return 0;
  }
  return ToHandle(resultSet.release());
}

jlong SingleGetResultSetWithQuery(JNIEnv* env, jobject /*self*/, jstring javaQuery, jlong handle) {
  constexpr Log log = LogOf("SingleGetResultSetWithQuery");
  log.Debug("%s: SingleGetResultSetWithQuery() start");
  if (!CheckOpen(env, log, handle, kClosed)) return 0;
  const UtfChars query = UtfChars::UnlessPending(env, javaQuery);
  if (!query) return 0;
  Status status = Status::ERROR;
  std::unique_ptr<KvStoreResultSet> resultSet;
  StoreOf(handle).GetResultSetWithQuery(query.Text(), Deliver(status, resultSet));
  if (status != Status::SUCCESS) {
    log.Error("%s: Native GetResultSetWithQuery failed.");
    Throw(env, status);
    return 0;
  }
  log.Debug("%s: SingleGetResultSetWithQuery() end");
  return ToHandle(resultSet.release());
}

jint SingleGetCountWithQuery(JNIEnv* env, jobject /*self*/, jstring javaQuery, jlong handle) {
  constexpr Log log = LogOf("SingleGetCountWithQuery");
  log.Debug("%s: SingleGetCountWithQuery() start");
  if (!CheckOpen(env, log, handle, kClosed)) return 0;
  const UtfChars query = UtfChars::UnlessPending(env, javaQuery);
  if (!query) return 0;
  int32_t count = 0;
  const Status status = StoreOf(handle).GetCountWithQuery(query.Text(), count);
  if (status != Status::SUCCESS) {
    log.Error("%s: Native GetCountWithQuery failed.");
    Throw(env, status);
    return 0;
  }
  log.Debug("%s: GetCountWithQuery() end");
  return count;
}

void SingleCloseResultSet(JNIEnv* env, jobject /*self*/, jobject javaResultSet, jlong handle) {
  constexpr Log log = LogOf("SingleCloseResultSet");
  if (!CheckOpen(env, log, handle)) return;
  JavaClass resultSetClass(env, javaResultSet);
  if (!resultSetClass) {
    log.Error("%s: ResultSet is null");
    Throw(env, Status::INVALID_ARGUMENT, "ResultSet is null");
    return;
  }
  jfieldID handleField = resultSetClass.GetField("nativeResultSet", "J");
  std::unique_ptr<KvStoreResultSet> resultSet(
      ToPointer<KvStoreResultSet>(resultSetClass.GetLongField(javaResultSet, handleField)));
  if (resultSet == nullptr) {
    log.Error("%s: native result set is nullptr");
    return;
  }
  const Status status = StoreOf(handle).CloseResultSet(std::move(resultSet));
  resultSet.reset();
  if (status != Status::SUCCESS) {
    log.Error("%s: SingleCloseResultSet failed.");
    Throw(env, status);
    return;
  }
  resultSetClass.SetLongField(javaResultSet, handleField, 0);
}

// Batches and transactions

void ReportUnreadableValue(const Log& log, UtfChars& key) {
  log.Warn("%s: NativePutBatch copy value failed");
  key.Release();
}

void SinglePutBatch(JNIEnv* env, jobject /*self*/, jobjectArray entries, jlong handle) {
  constexpr Log log = LogOf("SinglePutBatch");
  log.Info("%s: nativePutBatch begin");
  PutBatch<SingleKvStore>(env, log, ReportUnreadableValue, entries, handle);
}

void SingleDeleteBatch(JNIEnv* env, jobject /*self*/, jobjectArray keys, jlong handle) {
  constexpr Log log = LogOf("SingleDeleteBatch");
  log.Info("%s: nativeDeleteBatch begin");
  DeleteBatch<SingleKvStore>(env, log, "%s: keys is null.", keys, handle);
}

void SingleStartTransaction(JNIEnv* env, jobject /*self*/, jlong handle) {
  constexpr Log log = LogOf("SingleStartTransaction");
  log.Info("%s: nativeStartTransaction begin");
  Transact(env, log, kStartTransactionTexts, &SingleKvStore::StartTransaction, handle);
}

void SingleCommit(JNIEnv* env, jobject /*self*/, jlong handle) {
  constexpr Log log = LogOf("SingleCommit");
  log.Info("%s: nativeCommit begin");
  Transact(env, log, kCommitTexts, &SingleKvStore::Commit, handle);
}

void SingleRollback(JNIEnv* env, jobject /*self*/, jlong handle) {
  constexpr Log log = LogOf("SingleRollback");
  log.Info("%s: nativeRollback begin");
  Transact(env, log, kRollbackTexts, &SingleKvStore::Rollback, handle);
}

// Observers

struct SingleStoreObservers {
  using Store = SingleKvStore;
  static auto& Registry() { return g_singleObserverMap; }
  // Java counts the types from 0, and whatever it does not know means all.
  static SubscribeType TypeOf(JNIEnv* env, jobject javaType) {
    JavaClass typeClass(env, javaType);
    switch (typeClass.CallIntMethod(javaType, typeClass.GetMethod("getType", "()I"))) {
      case 0:
        return SubscribeType::LOCAL;
      case 1:
        return SubscribeType::REMOTE;
      default:
        return SubscribeType::ALL;
    }
  }
  static void LogUnsubscribeFailure(const Log& log, Status status) {
    log.Error("%s: NativeUnregisterObserver ret fail, code=%d", static_cast<int>(status));
  }
};

void NativeRegisterObserver(JNIEnv* env, jobject /*self*/, jobject type, jobject observer, jobject config,
                            jlong handle) {
  constexpr Log log = LogOf("NativeRegisterObserver");
  log.Info("%s: start.");
  if (CheckOpen(env, log, handle))
    Subscribe<SingleStoreObservers>(env, log, {type, observer, config}, handle);
  log.Info("%s: end.");
}

void NativeUnregisterObserver(JNIEnv* env, jobject /*self*/, jobject type, jobject observer, jobject config,
                              jlong handle) {
  constexpr Log log = LogOf("NativeUnregisterObserver");
  log.Info("%s: start.");
  if (CheckOpen(env, log, handle))
    Unsubscribe<SingleStoreObservers>(env, log, {type, observer, config}, handle);
  log.Info("%s: end.");
}

// Synchronisation

// A synchronisation that does not start is only logged.
void SingleSync(JNIEnv* env, jobject /*self*/, jobjectArray javaDeviceIds, jint mode, jint delayMs,
                jlong handle) {
  constexpr Log log = LogOf("SingleSync");
  log.Debug("%s: nativeSync begin.");
  if (!CheckOpen(env, log, handle)) return;
  std::vector<std::string> deviceIds;
  if (!JavaCUtils::CopyDeviceList(env, javaDeviceIds, deviceIds)) {
    log.Error("%s: failed to copy device list");
    return;
  }
  const Status status = StoreOf(handle).Sync(deviceIds, static_cast<SyncMode>(mode), delayMs);
  if (status != Status::SUCCESS) {
    log.Warn("%s: nativeSync native return error: %d.", static_cast<int>(status));
    return;
  }
  log.Debug("%s: nativeSync end.");
}

// The callback is in place before the store is asked, and stays when the store refuses.
void RegisterSyncCallback(JNIEnv* env, jobject /*self*/, jobject callback, jlong handle) {
  constexpr Log log = LogOf("RegisterSyncCallback");
  log.Debug("%s: begin");
  if (!CheckOpen(env, log, handle)) return;
  globalSyncCallback().Replace(env->NewGlobalRef(callback));
  const auto syncCallback = std::make_shared<KvStoreSyncCallbackImpl>();
  const Status status = StoreOf(handle).RegisterSyncCallback(syncCallback);
  if (status != Status::SUCCESS) {
    log.Error("%s: return error: %d.", static_cast<int>(status));
    Throw(env, status);
  }
  log.Debug("%s: end.");
}

void UnRegisterSyncCallback(JNIEnv* env, jobject /*self*/, jlong handle) {
  constexpr Log log = LogOf("UnRegisterSyncCallback");
  log.Debug("%s: begin");
  if (!CheckOpen(env, log, handle)) return;
  const Status status = StoreOf(handle).UnRegisterSyncCallback();
  if (status != Status::SUCCESS) {
    log.Error("%s: return error: %d.", static_cast<int>(status));
    Throw(env, status);
    return;
  }
  globalSyncCallback().Delete(env);
  log.Debug("%s: end.");
}

// Settings

void SingleSetSyncParam(JNIEnv* env, jobject /*self*/, jint value, jlong handle) {
  constexpr Log log = LogOf("SingleSetSyncParam");
  log.Info("%s: nativeSetSyncParam begin");
  if (handle == 0) {
    log.Warn("%s: nativeSetSyncParam failed");
    Throw(env, Status::ERROR);
    return;
  }
  const Status status = StoreOf(handle).SetSyncParam(SyncParam{value});
  if (status != Status::SUCCESS) {
    log.Warn("%s: native nativeSetSyncParam exception %ld", static_cast<long>(handle));
    Throw(env, status);
  }
}

// A capability that the store refuses is a generic error to Java, whatever the store's status.
void SetCapabilityEnabled(JNIEnv* env, jobject /*self*/, jboolean enabled, jlong handle) {
  constexpr Log log = LogOf("SetCapabilityEnabled");
  log.Debug("%s: begin");
  if (handle == 0) {
    log.Error("%s: set CapabilityEnabled failed, manager is null");
    Throw(env, Status::ERROR);
    return;
  }
  if (StoreOf(handle).SetCapabilityEnabled(enabled != JNI_FALSE) != Status::SUCCESS) {
    log.Error("%s: set capability failed.");
    Throw(env, Status::DEFAULT_ERROR, "set capability failed.");
    return;
  }
  log.Debug("%s: end");
}

void SetCapabilityRange(JNIEnv* env, jobject /*self*/, jobjectArray javaLocalLabels,
                        jobjectArray javaRemoteLabels, jlong handle) {
  constexpr Log log = LogOf("SetCapabilityRange");
  log.Debug("%s: begin");
  if (handle == 0) {
    log.Error("%s: set CapabilityRange failed, manager is null");
    Throw(env, Status::ERROR);
    return;
  }
  std::vector<std::string> localLabels;
  std::vector<std::string> remoteLabels;
  if (!JavaCUtils::CopyDeviceList(env, javaLocalLabels, localLabels) ||
      !JavaCUtils::CopyDeviceList(env, javaRemoteLabels, remoteLabels)) {
    log.Error("%s: copy array failed.");
    Throw(env, Status::ERROR, "copy array failed.");
    return;
  }
  if (StoreOf(handle).SetCapabilityRange(localLabels, remoteLabels) != Status::SUCCESS) {
    log.Error("%s: set range failed.");
    Throw(env, Status::DEFAULT_ERROR, "set range failed.");
    return;
  }
  log.Debug("%s: end");
}

jint GetSecurityLevel(JNIEnv* env, jobject /*self*/, jlong handle) {
  constexpr Log log = LogOf("GetSecurityLevel");
  log.Debug("%s: begin");
  if (handle == 0) {
    log.Error("%s: get SecurityLevel failed, kvStore is null");
    Throw(env, Status::ERROR, "get SecurityLevel failed, kvStore is null");
    return 0;
  }
  auto level = SecurityLevel::NO_LEVEL;
  const Status status = StoreOf(handle).GetSecurityLevel(level);
  if (status != Status::SUCCESS) {
    log.Error("%s: get security level failed.");
    Throw(env, status);
    return 0;
  }
  log.Debug("%s: end");
  return static_cast<jint>(level);
}

// The spelling of the names is Java's, uneven as it is.
constexpr NativeMethod kMethods[] = {
    Method<SingleGet>("nativeGet", "([BJ)Lkora/data/distributed/common/Value;"),
    Method<SinglePut>("nativePut", "([BLkora/data/distributed/common/Value;J)V"),
    Method<SingleDelete>("nativeDelete", "([BJ)V"),
    Method<SingleSync>("nativeSync", "([Ljava/lang/String;IIJ)V"),
    Method<SingleGetEntries>("nativeGetEntries", "([BJ)Ljava/util/List;"),
    Method<SingleGetEntriesWithQuery>("nativeGetEntriesWithQuery", "(Ljava/lang/String;J)Ljava/util/List;"),
    Method<SingleRemoveDeviceData>("nativeRemoveDeviceData", "(Ljava/lang/String;J)V"),
    Method<SingleGetResultSet>("nativeGetResultSet", "([BJ)J"),
    Method<SingleGetResultSetWithQuery>("nativeGetResultSetWithQuery", "(Ljava/lang/String;J)J"),
    Method<SingleGetCountWithQuery>("nativeGetCountWithQuery", "(Ljava/lang/String;J)I"),
    Method<SingleCloseResultSet>("nativeCloseResultSet",
                                 "(Lkora/data/distributed/common/KvStoreResultSet;J)V"),
    Method<RegisterSyncCallback>("nativeRegisterSyncCallback",
                                 "(Lkora/data/distributed/common/SyncCallback;J)V"),
    Method<UnRegisterSyncCallback>("nativeUnRegisterSyncCallback", "(J)V"),
    Method<NativeRegisterObserver>(
        "nativeRegisterObserver",
        "(Lkora/data/distributed/common/SubscribeType;Lkora/data/distributed/common/KvStoreObserver;"
        "Lkora/data/distributed/common/KvManagerConfig;J)V"),
    Method<NativeUnregisterObserver>(
        "nativeUnregisterObserver",
        "(Lkora/data/distributed/common/SubscribeType;Lkora/data/distributed/common/KvStoreObserver;"
        "Lkora/data/distributed/common/KvManagerConfig;J)V"),
    Method<SinglePutBatch>("nativePutBatch", "([Lkora/data/distributed/common/Entry;J)V"),
    Method<SingleDeleteBatch>("nativeDeleteBatch", "([Ljava/lang/String;J)V"),
    Method<SingleStartTransaction>("nativeStartTransaction", "(J)V"),
    Method<SingleCommit>("nativeCommit", "(J)V"),
    Method<SingleRollback>("nativeRollback", "(J)V"),
    Method<SingleSetSyncParam>("nativeSetSyncParam", "(IJ)V"),
    Method<SetCapabilityEnabled>("nativeSetCapabilityEnabled", "(ZJ)V"),
    Method<SetCapabilityRange>("nativeSetCapabilityRange", "([Ljava/lang/String;[Ljava/lang/String;J)V"),
    Method<GetSecurityLevel>("nativeGetSecurityLevel", "(J)I"),
};

// The class goes to the virtual machine as it was found: a missing one fails there.
jint RegisterStoreMethods(JNIEnv* env) {
  return RegisterMethods(env, env->FindClass("kora/data/distributed/user/SingleKvStoreImpl"), kMethods);
}

}  // namespace

jint RegisterSingleKvStoreInit(JNIEnv* env) {
  constexpr Log log = LogOf("RegisterSingleKvStoreInit");
  if (RegisterKvStoreResultSet(env) < 0) {
    log.Error("%s: ERROR: native registration for RegisterKvStoreResultSet failed\n");
    return JNI_ERR;
  }
  if (RegisterStoreMethods(env) < 0) {
    log.Error("%s: ERROR: native registration for RegisterSingleKvStore failed\n");
    return JNI_ERR;
  }
  return JNI_OK;
}

}  // namespace KORA::DistributedKv

extern "C" jint RegisterSingleKvStore(JNIEnv* env) {
  return KORA::DistributedKv::RegisterStoreMethods(env);
}
