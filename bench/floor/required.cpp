// The JNI calls that the bridge has to make and nothing more: no wrapper, no log, no branch for a failure but
// the one that a call's answer needs, and buffers that are kept from call to call.
#include <cstdint>
#include <list>
#include <vector>

#include "floor/java_ids.h"
#include "floor/natives.h"
#include "floor/null_client.h"

namespace floors {

namespace kv = KORA::DistributedKv;

namespace {

using Bytes = std::vector<uint8_t>;

kv::SingleKvStore& StoreOf(jlong handle) {
  return *reinterpret_cast<kv::SingleKvStore*>(handle);  // NOLINT(performance-no-int-to-ptr)
}

kv::KvStoreResultSet& CursorOf(jlong handle) {
  return *reinterpret_cast<kv::KvStoreResultSet*>(handle);  // NOLINT(performance-no-int-to-ptr)
}

void Append(JNIEnv* env, jbyteArray array, Bytes& out) {
  const jsize length = env->GetArrayLength(array);
  jbyte* elements = env->GetByteArrayElements(array, nullptr);
  out.insert(out.end(), elements, elements + length);
  env->ReleaseByteArrayElements(array, elements, 0);
}

const Bytes& KeyBytes(JNIEnv* env, jbyteArray key) {
  static thread_local Bytes bytes;
  bytes.clear();
  Append(env, key, bytes);
  return bytes;
}

const Bytes& ValueBytes(JNIEnv* env, jobject value) {
  static thread_local Bytes bytes;
  bytes.clear();
  if (env->ExceptionCheck()) return bytes;
  jclass type = env->FindClass("kora/data/distributed/common/Value");
  jfieldID typeField = env->GetFieldID(type, "type", "B");
  bytes.push_back(static_cast<uint8_t>(env->GetByteField(value, typeField)));
  if (env->ExceptionCheck()) return bytes;
  jfieldID payloadField = env->GetFieldID(type, "value", "[B");
  Append(env, static_cast<jbyteArray>(env->GetObjectField(value, payloadField)), bytes);
  env->DeleteLocalRef(type);
  return bytes;
}

jobject NewValue(JNIEnv* env, const Bytes& bytes) {
  const auto size = static_cast<jsize>(bytes.size()) - 1;
  const auto* from = reinterpret_cast<const jbyte*>(bytes.data());
  jbyteArray payload = env->NewByteArray(size);
  env->SetByteArrayRegion(payload, 0, size, from + 1);
  if (env->ExceptionCheck()) return nullptr;
  return env->NewObject(g_java.value, g_java.newValue, static_cast<jint>(from[0]), payload);
}

jobject NewEntry(JNIEnv* env, const kv::Entry& entry) {
  const auto size = static_cast<jsize>(entry.key.Size());
  jbyteArray proof = env->NewByteArray(size);
  env->SetByteArrayRegion(proof, 0, size, reinterpret_cast<const jbyte*>(entry.key.Data().data()));
  jobject value = NewValue(env, entry.value.Data());
  jobject javaEntry = env->NewObject(g_java.entry, g_java.newEntry);
  env->SetObjectField(javaEntry, g_java.entryKey, env->NewStringUTF(entry.key.ToString().c_str()));
  if (env->ExceptionCheck()) return nullptr;
  env->SetObjectField(javaEntry, g_java.entryValue, value);
  return env->ExceptionCheck() ? nullptr : javaEntry;
}

template <typename Entries>
jobject NewList(JNIEnv* env, const Entries& entries) {
  jobject list = env->NewObject(g_java.list, g_java.newList);
  for (const kv::Entry& entry : entries) {
    env->CallBooleanMethod(list, g_java.add, NewEntry(env, entry));
    if (env->ExceptionCheck()) return nullptr;
  }
  return list;
}

jobject Get(JNIEnv* env, jobject /*self*/, jbyteArray key, jlong store) {
  kv::Value value;
  StoreOf(store).Get(kv::Key(KeyBytes(env, key)), value);
  return NewValue(env, value.Data());
}

void Put(JNIEnv* env, jobject /*self*/, jbyteArray key, jobject value, jlong store) {
  const kv::Key keyBlob(KeyBytes(env, key));
  StoreOf(store).Put(keyBlob, kv::Value(ValueBytes(env, value)));
}

void Remove(JNIEnv* env, jobject /*self*/, jbyteArray key, jlong store) {
  StoreOf(store).Delete(kv::Key(KeyBytes(env, key)));
}

jobject GetEntries(JNIEnv* env, jobject /*self*/, jbyteArray prefix, jlong store) {
  std::vector<kv::Entry> entries;
  StoreOf(store).GetEntries(kv::Key(KeyBytes(env, prefix)), entries);
  return NewList(env, entries);
}

void PutBatch(JNIEnv* env, jobject /*self*/, jobjectArray javaEntries, jlong store) {
  const jsize count = env->GetArrayLength(javaEntries);
  std::vector<kv::Entry> entries;
  entries.reserve(static_cast<size_t>(count));
  for (jsize i = 0; i < count; ++i) {
    jobject javaEntry = env->GetObjectArrayElement(javaEntries, i);
    auto* key = static_cast<jstring>(env->GetObjectField(javaEntry, g_java.entryKey));
    jobject value = env->GetObjectField(javaEntry, g_java.entryValue);
    const char* chars = env->GetStringUTFChars(key, nullptr);
    entries.emplace_back(kv::Key(chars), kv::Value(ValueBytes(env, value)));
    env->ReleaseStringUTFChars(key, chars);
  }
  StoreOf(store).PutBatch(entries);
}

jboolean MoveToNext(JNIEnv* /*env*/, jobject /*self*/, jlong cursor) {
  return CursorOf(cursor).MoveToNext() ? JNI_TRUE : JNI_FALSE;
}

jobject GetEntry(JNIEnv* env, jobject /*self*/, jlong cursor) {
  kv::Entry entry;
  CursorOf(cursor).GetEntry(entry);
  return NewEntry(env, entry);
}

void Notify(JNIEnv* /*env*/, jobject /*self*/, jobject observer) {
  JNIEnv* env = nullptr;
  g_java.vm->GetEnv(reinterpret_cast<void**>(&env), JNI_VERSION_1_4);
  const kv::ChangeNotification& change = kv::NullClient::Change();
  jobject javaChange = env->NewObject(g_java.change, g_java.newChange);
  env->SetObjectField(javaChange, g_java.insertEntries, NewList(env, change.GetInsertEntries()));
  env->SetObjectField(javaChange, g_java.updateEntries, NewList(env, change.GetUpdateEntries()));
  env->SetObjectField(javaChange, g_java.deleteEntries, NewList(env, change.GetDeleteEntries()));
  env->SetObjectField(javaChange, g_java.deviceId, env->NewStringUTF(change.GetDeviceId().c_str()));
  if (env->ExceptionCheck()) return;
  jclass type = env->GetObjectClass(observer);
  jmethodID onChange =
      env->GetMethodID(type, "onChange", "(Lkora/data/distributed/common/ChangeNotification;)V");
  if (env->ExceptionOccurred() != nullptr) return;
  env->CallVoidMethod(observer, onChange, javaChange);
  env->DeleteLocalRef(type);
}

}  // namespace

const Natives kRequired = {Get, Put, Remove, GetEntries, PutBatch, MoveToNext, GetEntry, Notify};

}  // namespace floors
