#include "jni/class_cache.h"

#include <cstddef>

#include "jni/java_c_utils.h"
#include "jni/log.h"

namespace KORA::DistributedKv {

ClassCache g_classCache{};

namespace {

// A method or field to look up: one of the two places is set.
struct Identifier {
  const char* name;
  const char* signature;
  jmethodID* method;
  jfieldID* field;
  const char* failure;

  bool Load(JNIEnv* env, jclass clazz) const {
    if (method != nullptr) return (*method = env->GetMethodID(clazz, name, signature)) != nullptr;
    return (*field = env->GetFieldID(clazz, name, signature)) != nullptr;
  }
};

constexpr Identifier MethodOf(const char* name, const char* signature, jmethodID* place,
                              const char* failure) {
  return {name, signature, place, nullptr, failure};
}

constexpr Identifier FieldOf(const char* name, const char* signature, jfieldID* place, const char* failure) {
  return {name, signature, nullptr, place, failure};
}

struct Group {
  const char* function;
  const char* className;
  jclass* clazz;
  const char* failure;
};

// What was loaded before a failure stays loaded.
template <size_t Count>
bool LoadGroup(JNIEnv* env, const Group& group, const Identifier (&identifiers)[Count]) {
  const Log log(kConversionTag, group.function);
  jclass local = env->FindClass(group.className);
  *group.clazz = static_cast<jclass>(env->NewGlobalRef(local));
  env->DeleteLocalRef(local);
  if (*group.clazz == nullptr) {
    log.Error(group.failure);
    return false;
  }
  for (const Identifier& identifier : identifiers) {
    if (!identifier.Load(env, *group.clazz)) {
      log.Error(identifier.failure);
      return false;
    }
  }
  return true;
}

}  // namespace

bool JavaCUtils::InitEntryClassInfo(JNIEnv* env) {
  auto& cache = g_classCache.entry;
  const Group group = {"InitEntryClassInfo", "kora/data/distributed/common/Entry", &cache.clazz,
                       "%s: InitEntryClassInfo clazz failed"};
  const Identifier identifiers[] = {
      MethodOf("<init>", "()V", &cache.constructor, "%s: InitEntryClassInfo init failed"),
      FieldOf("key", "Ljava/lang/String;", &cache.key, "%s: InitEntryClassInfo keyArr failed"),
      FieldOf("value", "Lkora/data/distributed/common/Value;", &cache.value,
              "%s: InitEntryClassInfo value failed"),
  };
  return LoadGroup(env, group, identifiers);
}

bool JavaCUtils::InitValueClassInfo(JNIEnv* env) {
  auto& cache = g_classCache.value;
  const Group group = {"InitValueClassInfo", "kora/data/distributed/common/Value", &cache.clazz,
                       "%s: InitValueClassInfo clazz failed"};
  const Identifier identifiers[] = {
      MethodOf("<init>", "(B[B)V", &cache.constructor, "%s: InitValueClassInfo constructId failed"),
  };
  return LoadGroup(env, group, identifiers);
}

bool JavaCUtils::InitIntegerClassInfo(JNIEnv* env) {
  auto& cache = g_classCache.integer;
  const Group group = {"InitIntegerClassInfo", "java/lang/Integer", &cache.clazz,
                       "%s: InitIntegerClassInfo failed"};
  const Identifier identifiers[] = {
      MethodOf("<init>", "(I)V", &cache.constructor, "%s: InitIntegerClassInfo constructor failed"),
  };
  return LoadGroup(env, group, identifiers);
}

bool JavaCUtils::InitHashMapClassInfo(JNIEnv* env) {
  auto& cache = g_classCache.hashMap;
  const Group group = {"InitHashMapClassInfo", "java/util/HashMap", &cache.clazz, "%s: clazz nullptr"};
  const Identifier identifiers[] = {
      MethodOf("<init>", "()V", &cache.constructor, "%s: construct nullptr"),
      MethodOf("put", "(Ljava/lang/Object;Ljava/lang/Object;)Ljava/lang/Object;", &cache.put,
               "%s: put nullptr"),
      MethodOf("entrySet", "()Ljava/util/Set;", &cache.entrySet, "%s: entrySet nullptr"),
  };
  return LoadGroup(env, group, identifiers);
}

bool JavaCUtils::InitKvStoreChangedDataImplClassInfo(JNIEnv* env) {
  auto& cache = g_classCache.changeNotification;
  const Group group = {"InitKvStoreChangedDataImplClassInfo",
                       "kora/data/distributed/common/ChangeNotification", &cache.clazz,
                       "%s: clazz is nullptr"};
  const Identifier identifiers[] = {
      MethodOf("<init>", "()V", &cache.constructor, "%s: contructor is ptr"),
      FieldOf("insertEntries", "Ljava/util/List;", &cache.insertEntries, "%s: entriesPut is nullptr"),
      FieldOf("updateEntries", "Ljava/util/List;", &cache.updateEntries, "%s: entriesUpdate is nullptr"),
      FieldOf("deleteEntries", "Ljava/util/List;", &cache.deleteEntries, "%s: entriesDeleted is nullptr"),
      FieldOf("deviceId", "Ljava/lang/String;", &cache.deviceId, "%s: deviceIdID is nullptr"),
  };
  return LoadGroup(env, group, identifiers);
}

bool JavaCUtils::InitArrayListClassInfo(JNIEnv* env) {
  auto& cache = g_classCache.arrayList;
  const Group group = {"InitArrayListClassInfo", "java/util/ArrayList", &cache.clazz,
                       "%s: InitArrayListClassInfo clazz IS nullptr"};
  const Identifier identifiers[] = {
      MethodOf("<init>", "()V", &cache.constructor, "%s: InitArrayListClassInfo Init is nullptr"),
      MethodOf("add", "(Ljava/lang/Object;)Z", &cache.add, "%s: InitArrayListClassInfo Add is nullptr"),
      MethodOf("size", "()I", &cache.size, "%s: InitArrayListClassInfo Size is nullptr"),
      MethodOf("get", "(I)Ljava/lang/Object;", &cache.get, "%s: InitArrayListClassInfo Get is nullptr"),
  };
  return LoadGroup(env, group, identifiers);
}

bool JavaCUtils::InitDeviceInfo(JNIEnv* env) {
  auto& cache = g_classCache.deviceInfo;
  const Group group = {"InitDeviceInfo", "kora/data/distributed/device/DeviceInfo", &cache.clazz,
                       "%s: DeviceInfo clazz failed"};
  const Identifier identifiers[] = {
      MethodOf("<init>", "(Ljava/lang/String;Ljava/lang/String;Ljava/lang/String;)V", &cache.constructor,
               "%s: DeviceInfo construct id failed"),
  };
  return LoadGroup(env, group, identifiers);
}

bool JavaCUtils::Init(JNIEnv* env) {
  constexpr Log log(kConversionTag, "Init");
  constexpr struct {
    bool (*load)(JNIEnv*);
    const char* failure;
  } kGroups[] = {
      {InitEntryClassInfo, "%s: InitEntryClassInfo error."},
      {InitValueClassInfo, "%s: InitValueClassInfo error."},
      {InitIntegerClassInfo, "%s: InitIntegerClassInfo error."},
      {InitHashMapClassInfo, "%s: InitHashMapClassInfo error."},
      {InitKvStoreChangedDataImplClassInfo, "%s: InitKvStoreChangedDataImplClassInfo error."},
      {InitArrayListClassInfo, "%s: InitArrayListClassInfo error."},
      {InitDeviceInfo, "%s: InitDeviceInfo error."},
  };
  log.Warn("%s: start init class.");
  for (const auto& group : kGroups) {
    if (!group.load(env)) {
      log.Warn(group.failure);
      return false;
    }
  }
  log.Warn("%s: end init class.");
  return true;
}

}  // namespace KORA::DistributedKv
