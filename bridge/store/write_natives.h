// The natives that both kinds of stores share: batches and transactions. A store's own file states what
// differs.
#pragma once

#include <jni.h>

#include <cstdint>
#include <string>
#include <vector>

#include "contract/entry.h"
#include "contract/status.h"
#include "jni/handle.h"
#include "jni/java_c_utils.h"
#include "jni/java_exception.h"
#include "jni/log.h"
#include "jni/utf_chars.h"

namespace KORA::DistributedKv {

// Logs that the value of an entry can't be read, and gives the key's characters back.
using ReportValue = void (*)(const Log& log, UtfChars& key);

// Appends the native entry of a Java entry. False, with the failure logged and thrown, when it can't be read.
// A key text ends at its first zero byte.
inline bool AppendEntry(JNIEnv* env, const Log& log, ReportValue reportValue, jobject javaEntry,
                        std::vector<Entry>& entries) {
  auto* javaKey = static_cast<jstring>(JavaCUtils::GetEntryKey(env, javaEntry));
  jobject javaValue = JavaCUtils::GetEntryValue(env, javaEntry);
  UtfChars key(env, javaKey);
  if (!key) {
    log.Warn("%s: NativePutBatch key failed");
    Throw(env, Status::ERROR);
    return false;
  }
  std::vector<uint8_t> value;
  if (!JavaCUtils::CopyValueFromJava2C(env, javaValue, value)) {
    reportValue(log, key);
    Throw(env, Status::ERROR);
    return false;
  }
  entries.emplace_back(Key(key.Get()), Value(value));
  return true;
}

// The store is not called when an element can't be read. The local references of the elements live until the
// native returns, so the caller bounds the size of a batch.
template <typename Store>
void PutBatch(JNIEnv* env, const Log& log, ReportValue reportValue, jobjectArray javaEntries, jlong handle) {
  if (handle == 0 || javaEntries == nullptr) {
    log.Warn("%s: NativePutBatch failed");
    Throw(env, Status::ERROR);
    return;
  }
  const jsize count = env->GetArrayLength(javaEntries);
  std::vector<Entry> entries;
  entries.reserve(static_cast<size_t>(count));
  for (jsize i = 0; i < count; ++i) {
    if (!AppendEntry(env, log, reportValue, env->GetObjectArrayElement(javaEntries, i), entries)) return;
  }
  const Status status = ToPointer<Store>(handle)->PutBatch(entries);
  if (status != Status::SUCCESS) {
    log.Warn("%s: nativePutBatch exception %ld, status=%d", static_cast<long>(handle),
             static_cast<int>(status));
    Throw(env, status);
  }
}

// `nullKeys` is what is logged for a missing array, which is no failure. Empty keys are skipped.
template <typename Store>
void DeleteBatch(JNIEnv* env, const Log& log, const char* nullKeys, jobjectArray javaKeys, jlong handle) {
  if (handle == 0) {
    log.Warn("%s: NativeDeleteBatch failed");
    Throw(env, Status::ERROR);
    return;
  }
  if (javaKeys == nullptr) {
    log.Error(nullKeys);
    return;
  }
  std::vector<std::string> texts;
  JavaCUtils::CopyDeviceList(env, javaKeys, texts);
  std::vector<Key> keys;
  keys.reserve(texts.size());
  for (const std::string& text : texts) keys.emplace_back(text.c_str());
  const Status status = ToPointer<Store>(handle)->DeleteBatch(keys);
  if (status != Status::SUCCESS) {
    log.Warn("%s: nativeDeleteBatch exception %ld", static_cast<long>(handle));
    Throw(env, status);
  }
}

// The texts of one transaction native.
struct TransactionTexts {
  const char* closed;  // the handle is 0
  const char* failed;  // the store refused; takes the handle
};
inline constexpr TransactionTexts kStartTransactionTexts = {"%s: nativeStartTransaction kvStore null",
                                                            "%s: native transaction exception %ld"};
inline constexpr TransactionTexts kCommitTexts = {"%s: NativeCommit kvStore null",
                                                  "%s: native commit exception %ld"};
inline constexpr TransactionTexts kRollbackTexts = {"%s: NativeRollback failed",
                                                    "%s: native rollback exception %ld"};

template <typename Store>
void Transact(JNIEnv* env, const Log& log, const TransactionTexts& texts, Status (Store::*operation)(),
              jlong handle) {
  if (handle == 0) {
    log.Warn(texts.closed);
    Throw(env, Status::ERROR);
    return;
  }
  const Status status = (ToPointer<Store>(handle)->*operation)();
  if (status != Status::SUCCESS) {
    log.Warn(texts.failed, static_cast<long>(handle));
    Throw(env, status);
  }
}

}  // namespace KORA::DistributedKv
