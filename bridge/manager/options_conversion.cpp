#include "manager/options_conversion.h"

#include <optional>

#include "jni/byte_elements.h"
#include "jni/java_class.h"
#include "jni/log.h"
#include "jni/utf_chars.h"

namespace KORA::DistributedKv {
namespace {

constexpr Log kOptionsLog(kManagerTag, "GetOptions");
constexpr const char* kGetCode = "getCode";

// What threw has no value to offer, and its exception must not meet the calls that follow.
bool TookException(JNIEnv* env) {
  if (!env->ExceptionCheck()) return false;
  env->ExceptionClear();
  return true;
}

// Calls the getters of one Java object. An answer is empty when the getter is missing or threw.
class Getters {
 public:
  Getters(JNIEnv* env, jobject object) : env_(env), object_(object), class_(env, object) {}

  std::optional<bool> Boolean(const char* name) {
    jmethodID getter = class_.GetMethod(name, "()Z");
    if (getter == nullptr) return std::nullopt;
    const bool value = class_.CallBooleanMethod(object_, getter) != JNI_FALSE;
    return TookException(env_) ? std::nullopt : std::optional<bool>(value);
  }

  std::optional<jint> Int(jmethodID getter) {
    const jint value = class_.CallIntMethod(object_, getter);
    return getter == nullptr || TookException(env_) ? std::nullopt : std::optional<jint>(value);
  }
  std::optional<jint> Int(const char* name) { return Int(Find(name, "()I")); }

  std::optional<jobject> Object(jmethodID getter) {
    jobject value = class_.CallObjectMethod(object_, getter);
    return getter == nullptr || TookException(env_) ? std::nullopt : std::optional<jobject>(value);
  }
  std::optional<jobject> Object(const char* name, const char* signature) {
    return Object(Find(name, signature));
  }

  jmethodID Find(const char* name, const char* signature) { return class_.GetMethod(name, signature); }

 private:
  JNIEnv* env_;
  jobject object_;
  JavaClass class_;
};

struct Flag {
  const char* getter;
  bool Options::*field;
  const char* failure;
};
constexpr Flag kFlags[] = {
    {"isCreateIfMissing", &Options::createIfMissing, "%s: get CreateIfMissing error"},
    {"isEncrypt", &Options::encrypt, "%s: getEncrypt error"},
    {"isBackup", &Options::backup, "%s: isBackup error"},
    {"isAutoSync", &Options::autoSync, "%s: isAutoSync error"},
};

bool ReadFlags(Getters& getters, Options& options) {
  for (const Flag& flag : kFlags) {
    const std::optional<bool> value = getters.Boolean(flag.getter);
    if (!value) {
      kOptionsLog.Error(flag.failure);
      return false;
    }
    options.*flag.field = *value;
  }
  return true;
}

bool ReadStoreType(JNIEnv* env, Getters& getters, Options& options) {
  const auto type = getters.Object("getKvStoreType", "()Lkora/data/distributed/common/KvStoreType;");
  if (!type) {
    kOptionsLog.Error("%s: get kvStore type error");
    return false;
  }
  if (*type == nullptr) {
    kOptionsLog.Error("%s: storeType error");
    return false;
  }
  Getters typeGetters(env, *type);
  jmethodID getCode = typeGetters.Find(kGetCode, "()I");
  if (getCode == nullptr) {
    kOptionsLog.Error("%s: kvStoreTypeGetCodeMethod error");
    return false;
  }
  // Without the code there is no telling which kind of store to open.
  const std::optional<jint> code = typeGetters.Int(getCode);
  if (!code) {
    kOptionsLog.Warn("%s: kvStoreTypeCode error");
    return false;
  }
  options.kvStoreType = static_cast<KvStoreType>(*code);
  return true;
}

void ReadSecurityLevel(JNIEnv* env, Getters& getters, Options& options) {
  const auto level = getters.Object("getSecurityLevel", "()Lkora/data/distributed/common/SecurityLevel;");
  if (level && *level == nullptr) return;
  const std::optional<jint> code = level ? Getters(env, *level).Int(kGetCode) : std::nullopt;
  if (code) {
    options.securityLevel = static_cast<SecurityLevel>(*code);
  } else {
    kOptionsLog.Warn("%s: SecurityLevel Code error");
  }
}

void ReadOwnerType(Getters& getters, Options& options) {
  options.storeOwnerType = getters.Int("getStoreOwnerType").value_or(-1);
  kOptionsLog.Warn("%s: getStoreOwnerType: %d", options.storeOwnerType);
}

bool ReadSchemaText(JNIEnv* env, jobject schema, Options& options) {
  kOptionsLog.Info("%s: Options has schema defined");
  Getters schemaGetters(env, schema);
  jmethodID toJsonString = schemaGetters.Find("toJsonString", "()Ljava/lang/String;");
  if (toJsonString == nullptr) {
    kOptionsLog.Error("%s: toJsonStringMethodId error");
    return false;
  }
  jobject text = schemaGetters.Object(toJsonString).value_or(nullptr);
  const UtfChars json = text == nullptr ? UtfChars() : UtfChars(env, static_cast<jstring>(text));
  if (!json) {
    TookException(env);
    kOptionsLog.Error("%s: toJsonString error");
    return false;
  }
  options.schema = json.Text();
  return true;
}

bool ReadBinarySchema(JNIEnv* env, Getters& getters, Options& options) {
  jmethodID getter = getters.Find("getBinarySchema", "()[B");
  const auto bytes = getter == nullptr ? std::optional<jobject>(nullptr) : getters.Object(getter);
  if (!bytes) return false;
  if (*bytes == nullptr) {
    kOptionsLog.Info("%s: Options no schema defined");
    return true;
  }
  kOptionsLog.Info("%s: Binary schema defined");
  if (ByteElements(env, static_cast<jbyteArray>(*bytes)).AppendTo(options.schema)) return true;
  TookException(env);
  return false;
}

bool ReadSchema(JNIEnv* env, Getters& getters, Options& options) {
  const auto schema = getters.Object("getSchema", "()Lkora/data/distributed/common/Schema;");
  if (!schema) {
    kOptionsLog.Error("%s: getSchemaMethodId error");
    return false;
  }
  return *schema == nullptr ? ReadBinarySchema(env, getters, options) : ReadSchemaText(env, *schema, options);
}

}  // namespace

bool GetOptions(JNIEnv* env, jobject javaOptions, Options& options) {
  Getters getters(env, javaOptions);
  if (!ReadFlags(getters, options) || !ReadStoreType(env, getters, options)) return false;
  ReadSecurityLevel(env, getters, options);
  ReadOwnerType(getters, options);
  return ReadSchema(env, getters, options);
}

}  // namespace KORA::DistributedKv
