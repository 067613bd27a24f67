#include "jni/java_c_utils.h"

#include <utility>

#include "jni/byte_elements.h"
#include "jni/class_cache.h"
#include "jni/java_class.h"
#include "jni/java_exception.h"
#include "jni/log.h"
#include "jni/utf_chars.h"

namespace KORA::DistributedKv {
namespace {

constexpr const char* kValueClass = "kora/data/distributed/common/Value";
constexpr const char* kDeviceInfoClass = "kora/data/distributed/device/DeviceInfo";
constexpr const char* kDeviceInfoConstructor = "(Ljava/lang/String;Ljava/lang/String;Ljava/lang/String;)V";
constexpr const char* kDeviceStatusSignature = "Lkora/data/distributed/device/DeviceStatus;";

// Room for a type and its payload at once, without a second allocation for most values.
constexpr size_t kUsualValueSize = 256;

const jbyte* AsJavaBytes(const uint8_t* bytes) {
  return reinterpret_cast<const jbyte*>(bytes);
}

// Adds what `build` makes of each record to a new list. Null when there is no list or an exception is
// pending.
template <typename Records, typename Build>
jobject BuildList(JNIEnv* env, const Records& records, Build build) {
  jobject list = JavaCUtils::ArrayInstance(env);
  if (list == nullptr) return nullptr;
  for (const auto& record : records) {
    jobject element = build(env, record);
    env->CallBooleanMethod(list, g_classCache.arrayList.add, element);
    if (env->ExceptionCheck()) return nullptr;
  }
  return list;
}

}  // namespace

bool JavaCUtils::CopyKeyFromJava2C(JNIEnv* env, jbyteArray key, std::vector<uint8_t>& out) {
  const ByteElements bytes(env, key);
  if (bytes.AppendTo(out)) return true;
  constexpr Log log(kConversionTag, "CopyKeyFromJava2C");
  log.Error("%s: copy key failed.");
  Throw(env, Status::ERROR);
  return false;
}

jbyteArray JavaCUtils::CopyKeyFromC2Java(JNIEnv* env, const Blob& key) {
  const auto size = static_cast<jsize>(key.Size());
  jbyteArray array = env->NewByteArray(size);
  if (array == nullptr) {
    constexpr Log log(kConversionTag, "CopyKeyFromC2Java");
    log.Error("%s: copy key failed.");
    Throw(env, Status::ERROR, "copy key failed.");
    return nullptr;
  }
  env->SetByteArrayRegion(array, 0, size, AsJavaBytes(key.Data().data()));
  return array;
}

jobject JavaCUtils::CopyValueFromC2Java(JNIEnv* env, const Blob& value) {
  constexpr Log log(kConversionTag, "CopyValueFromC2Java");
  const auto size = static_cast<jsize>(value.Size());
  if (size < 1) {
    log.Error("%s: The length of value is too Small, size is %d", size);
    return nullptr;
  }
  const jbyte* bytes = AsJavaBytes(value.Data().data());
  jbyteArray payload = env->NewByteArray(size - 1);
  if (payload == nullptr) {
    log.Error("%s: failed to create byte array");
    return nullptr;
  }
  if (size == 1) {
    log.Debug("%s: actual length of value is 0");
  } else {
    env->SetByteArrayRegion(payload, 0, size - 1, bytes + 1);
    if (env->ExceptionCheck()) {
      log.Error("%s: failed to copy value from native to java");
      return nullptr;
    }
  }
  // A jbyte goes through the variadic call as an int.
  return env->NewObject(g_classCache.value.clazz, g_classCache.value.constructor, static_cast<jint>(bytes[0]),
                        payload);
}

bool JavaCUtils::CopyValueFromJava2C(JNIEnv* env, jobject value, std::vector<uint8_t>& out) {
  JavaClass valueClass(env, kValueClass);
  if (!valueClass) return false;
  jfieldID typeField = valueClass.GetField("type", "B");
  if (typeField == nullptr) return false;
  const jbyte type = valueClass.GetByteField(value, typeField);
  if (env->ExceptionCheck()) return false;
  out.reserve(out.size() + kUsualValueSize);
  out.push_back(static_cast<uint8_t>(type));

  jfieldID payloadField = valueClass.GetField("value", "[B");
  if (payloadField == nullptr) return false;
  jobject payload = valueClass.GetObjectField(value, payloadField);
  if (payload == nullptr) return false;
  return ByteElements(env, static_cast<jbyteArray>(payload)).AppendTo(out);
}

jobject JavaCUtils::BuildJavaKvEntry(JNIEnv* env, const Entry& entry) {
  constexpr Log log(kConversionTag, "BuildJavaKvEntry");
  const auto& cache = g_classCache.entry;
  // The array only proves that the key converts; the entry holds the key's text.
  if (CopyKeyFromC2Java(env, entry.key) == nullptr) {
    log.Error("%s: failed to copy key from c to java");
    return nullptr;
  }
  jobject value = CopyValueFromC2Java(env, entry.value);
  if (value == nullptr) {
    log.Error("%s: failed to copy value from c to java");
    return nullptr;
  }
  jobject javaEntry = env->NewObject(cache.clazz, cache.constructor);
  if (javaEntry == nullptr) {
    log.Error("%s: failed to create Entry object");
    return nullptr;
  }
  jstring key = env->NewStringUTF(entry.key.ToString().c_str());
  env->SetObjectField(javaEntry, cache.key, key);
  if (env->ExceptionCheck()) return nullptr;
  env->SetObjectField(javaEntry, cache.value, value);
  return env->ExceptionCheck() ? nullptr : javaEntry;
}

jobject JavaCUtils::BuildJavaList(JNIEnv* env, const std::list<Entry>& entries) {
  return BuildList(env, entries, BuildJavaKvEntry);
}

jobject JavaCUtils::BuildJavaList(JNIEnv* env, const std::vector<Entry>& entries) {
  return BuildList(env, entries, BuildJavaKvEntry);
}

jobject JavaCUtils::BuildDeviceInfoList(JNIEnv* env, const std::vector<DeviceInfo>& devices) {
  return BuildList(env, devices, BuildDeviceInfo);
}

jobject JavaCUtils::BuildDeviceInfo(JNIEnv* env, const DeviceInfo& device) {
  jstring id = env->NewStringUTF(device.deviceId.c_str());
  jstring name = env->NewStringUTF(device.deviceName.c_str());
  jstring type = env->NewStringUTF(device.deviceType.c_str());
  JavaClass deviceClass(env, kDeviceInfoClass);
  jobject info = deviceClass.NewObject(kDeviceInfoConstructor, id, name, type);
  if (info == nullptr) {
    for (jstring string : {id, name, type}) env->DeleteLocalRef(string);
  }
  return info;
}

bool JavaCUtils::CopyDeviceList(JNIEnv* env, jobjectArray deviceIds, std::vector<std::string>& out) {
  if (deviceIds == nullptr) return false;
  constexpr Log log(kConversionTag, "CopyDeviceList");
  const jsize count = env->GetArrayLength(deviceIds);
  for (jsize i = 0; i < count; ++i) {
    auto* element = static_cast<jstring>(env->GetObjectArrayElement(deviceIds, i));
    {
      const UtfChars deviceId = UtfChars::UnlessPending(env, element);
      if (std::string text = deviceId.Text(); !text.empty()) {
        out.push_back(std::move(text));
      } else {
        log.Warn("%s: CopyDeviceList function get empty device id");
      }
    }
    env->DeleteLocalRef(element);
  }
  return true;
}

jobject JavaCUtils::BuildJavaChangeNotification(JNIEnv* env, const ChangeNotification& notification) {
  const auto& cache = g_classCache.changeNotification;
  jobject javaNotification = env->NewObject(cache.clazz, cache.constructor);
  if (javaNotification == nullptr) return nullptr;

  const auto setList = [&](jfieldID field, const std::list<Entry>& entries) {
    jobject list = BuildJavaList(env, entries);
    if (list != nullptr) env->SetObjectField(javaNotification, field, list);
  };
  setList(cache.insertEntries, notification.GetInsertEntries());
  setList(cache.updateEntries, notification.GetUpdateEntries());
  setList(cache.deleteEntries, notification.GetDeleteEntries());

  jstring deviceId = env->NewStringUTF(notification.GetDeviceId().c_str());
  if (deviceId != nullptr) env->SetObjectField(javaNotification, cache.deviceId, deviceId);
  return javaNotification;
}

jobject JavaCUtils::GetJavaEnumByName(JNIEnv* env, const std::string& className,
                                      const std::string& constantName) {
  constexpr Log log(kConversionTag, "GetJavaEnumByName");
  jclass enumClass = env->FindClass(className.c_str());
  if (enumClass == nullptr) {
    log.Error("%s: get enum class failed by name");
    return nullptr;
  }
  jfieldID field = env->GetStaticFieldID(enumClass, constantName.c_str(), kDeviceStatusSignature);
  if (field == nullptr) {
    log.Error("%s: get enum field failed");
    return nullptr;
  }
  jobject constant = env->GetStaticObjectField(enumClass, field);
  if (constant == nullptr) log.Error("%s: get enum instance failed");
  return constant;
}

jobject JavaCUtils::HashMapDatas(JNIEnv* env, const std::map<std::string, Status>& results) {
  constexpr Log log(kConversionTag, "HashMapDatas");
  jobject map = HashMapInstance(env);
  if (map == nullptr) {
    log.Error("%s: SyncCompleteCallback hashMapObj nullptr.");
    return nullptr;
  }
  for (const auto& [deviceId, status] : results) {
    log.Debug("%s: SyncCompleteCallback construct map.");
    jstring key = env->NewStringUTF(deviceId.c_str());
    if (key == nullptr) continue;
    jobject value = IntegerInstance(env, status == Status::SUCCESS ? 0 : 1);
    if (value != nullptr) env->CallObjectMethod(map, g_classCache.hashMap.put, key, value);
    env->DeleteLocalRef(key);
    if (value != nullptr) env->DeleteLocalRef(value);
  }
  return map;
}

jobject JavaCUtils::HashMapInstance(JNIEnv* env) {
  return env->NewObject(g_classCache.hashMap.clazz, g_classCache.hashMap.constructor);
}

jobject JavaCUtils::IntegerInstance(JNIEnv* env, int value) {
  return env->NewObject(g_classCache.integer.clazz, g_classCache.integer.constructor, value);
}

jobject JavaCUtils::ArrayInstance(JNIEnv* env) {
  return env->NewObject(g_classCache.arrayList.clazz, g_classCache.arrayList.constructor);
}

void JavaCUtils::ArrayAdd(JNIEnv* env, jobject& list, jstring item) {
  if (list != nullptr) env->CallBooleanMethod(list, g_classCache.arrayList.add, item);
}

jobject JavaCUtils::GetEntryKey(JNIEnv* env, jobject& entry) {
  return entry == nullptr ? nullptr : env->GetObjectField(entry, g_classCache.entry.key);
}

jobject JavaCUtils::GetEntryValue(JNIEnv* env, jobject& entry) {
  return entry == nullptr ? nullptr : env->GetObjectField(entry, g_classCache.entry.value);
}

}  // namespace KORA::DistributedKv
