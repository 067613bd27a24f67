// The least that JNI allows for the same arguments and results: identifiers known beforehand, bytes copied
// once into a buffer, objects made without their constructors, no containers of the contract.
#include <algorithm>
#include <array>

#include "floor/java_ids.h"
#include "floor/natives.h"
#include "floor/null_client.h"

namespace floors {

namespace kv = KORA::DistributedKv;

namespace {

// Room for the keys and values that are measured.
using Buffer = std::array<jbyte, 256>;

jsize Copy(JNIEnv* env, jbyteArray array, Buffer& out) {
  const jsize length = env->GetArrayLength(array);
  env->GetByteArrayRegion(array, 0, length, out.data());
  return length;
}

jsize CopyValue(JNIEnv* env, jobject value, Buffer& out) {
  out[0] = env->GetByteField(value, g_java.valueType);
  auto* payload = static_cast<jbyteArray>(env->GetObjectField(value, g_java.valuePayload));
  const jsize length = env->GetArrayLength(payload);
  env->GetByteArrayRegion(payload, 0, length, out.data() + 1);
  return length + 1;
}

jobject NewValue(JNIEnv* env, const kv::Value& value) {
  const auto* from = reinterpret_cast<const jbyte*>(value.Data().data());
  const auto size = static_cast<jsize>(value.Size()) - 1;
  jbyteArray payload = env->NewByteArray(size);
  env->SetByteArrayRegion(payload, 0, size, from + 1);
  jobject javaValue = env->AllocObject(g_java.value);
  env->SetByteField(javaValue, g_java.valueType, from[0]);
  env->SetObjectField(javaValue, g_java.valuePayload, payload);
  return javaValue;
}

jobject NewEntry(JNIEnv* env, const kv::Entry& entry) {
  std::array<char, 256> text{};
  std::copy(entry.key.Data().begin(), entry.key.Data().end(), text.begin());
  jobject javaEntry = env->AllocObject(g_java.entry);
  env->SetObjectField(javaEntry, g_java.entryKey, env->NewStringUTF(text.data()));
  env->SetObjectField(javaEntry, g_java.entryValue, NewValue(env, entry.value));
  return javaEntry;
}

template <typename Entries>
jobject NewList(JNIEnv* env, const Entries& entries) {
  jobject list = env->NewObject(g_java.list, g_java.newList);
  for (const kv::Entry& entry : entries) env->CallBooleanMethod(list, g_java.add, NewEntry(env, entry));
  return list;
}

jobject Get(JNIEnv* env, jobject /*self*/, jbyteArray key, jlong /*store*/) {
  Buffer bytes;
  const jsize size = Copy(env, key, bytes);
  kv::NullClient::Take(bytes.data(), static_cast<size_t>(size), nullptr, 0);
  return NewValue(env, kv::NullClient::Entries().front().value);
}

void Put(JNIEnv* env, jobject /*self*/, jbyteArray key, jobject value, jlong /*store*/) {
  Buffer keyBytes;
  Buffer valueBytes;
  const jsize keySize = Copy(env, key, keyBytes);
  const jsize valueSize = CopyValue(env, value, valueBytes);
  kv::NullClient::Take(keyBytes.data(), static_cast<size_t>(keySize), valueBytes.data(),
                       static_cast<size_t>(valueSize));
}

void Remove(JNIEnv* env, jobject /*self*/, jbyteArray key, jlong /*store*/) {
  Buffer bytes;
  const jsize size = Copy(env, key, bytes);
  kv::NullClient::Take(bytes.data(), static_cast<size_t>(size), nullptr, 0);
}

jobject GetEntries(JNIEnv* env, jobject /*self*/, jbyteArray prefix, jlong /*store*/) {
  Buffer bytes;
  const jsize size = Copy(env, prefix, bytes);
  kv::NullClient::Take(bytes.data(), static_cast<size_t>(size), nullptr, 0);
  return NewList(env, kv::NullClient::Entries());
}

void PutBatch(JNIEnv* env, jobject /*self*/, jobjectArray javaEntries, jlong /*store*/) {
  const jsize count = env->GetArrayLength(javaEntries);
  for (jsize i = 0; i < count; ++i) {
    jobject javaEntry = env->GetObjectArrayElement(javaEntries, i);
    auto* key = static_cast<jstring>(env->GetObjectField(javaEntry, g_java.entryKey));
    const jsize characters = env->GetStringLength(key);
    Buffer text;
    env->GetStringUTFRegion(key, 0, characters, reinterpret_cast<char*>(text.data()));
    Buffer bytes;
    const jsize size = CopyValue(env, env->GetObjectField(javaEntry, g_java.entryValue), bytes);
    kv::NullClient::Take(text.data(), static_cast<size_t>(characters), bytes.data(),
                         static_cast<size_t>(size));
  }
}

jboolean MoveToNext(JNIEnv* /*env*/, jobject /*self*/, jlong /*cursor*/) {
  return JNI_TRUE;
}

jobject GetEntry(JNIEnv* env, jobject /*self*/, jlong /*cursor*/) {
  return NewEntry(env, kv::NullClient::Entries().front());
}

void Notify(JNIEnv* env, jobject /*self*/, jobject observer) {
  const kv::ChangeNotification& change = kv::NullClient::Change();
  jobject javaChange = env->AllocObject(g_java.change);
  env->SetObjectField(javaChange, g_java.insertEntries, NewList(env, change.GetInsertEntries()));
  env->SetObjectField(javaChange, g_java.updateEntries, g_java.emptyList);
  env->SetObjectField(javaChange, g_java.deleteEntries, g_java.emptyList);
  env->SetObjectField(javaChange, g_java.deviceId, env->NewStringUTF(change.GetDeviceId().c_str()));
  env->CallVoidMethod(observer, g_java.onChange, javaChange);
}

}  // namespace

const Natives kLeast = {Get, Put, Remove, GetEntries, PutBatch, MoveToNext, GetEntry, Notify};

}  // namespace floors
