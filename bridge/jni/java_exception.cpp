#include "jni/java_exception.h"

#include <cstdint>
#include <iterator>

#include "jni/log.h"

namespace KORA::DistributedKv {
namespace {

constexpr const char* kErrorCodeClass = "kora/data/distributed/common/KvStoreErrorCode";
constexpr const char* kErrorCodeSignature = "Lkora/data/distributed/common/KvStoreErrorCode;";
constexpr const char* kExceptionClass = "kora/data/distributed/common/KvStoreException";
constexpr const char* kConstructorSignature =
    "(Lkora/data/distributed/common/KvStoreErrorCode;Ljava/lang/String;)V";

constexpr const char* kDefaultName = "DEFAULT_DB_ERROR";

// The names of the statuses from kFirstNamed on, one each. "CONSTRAIN_VIOLATION" is how Java spells it.
constexpr auto kFirstNamed = static_cast<uint32_t>(Status::INVALID_ARGUMENT);
constexpr const char* kDefaultNames[] = {
    "INVALID_ARGUMENT",
    kDefaultName,  // ERROR
    kDefaultName,  // STORE_ALREADY_CLOSED
    kDefaultName,  // STORE_NOT_OPEN to DB_ERROR have names of their own
    kDefaultName,          kDefaultName,           kDefaultName,
    kDefaultName,          kDefaultName,
    kDefaultName,  // 0x1A3000A to 0x1A30010: not told apart
    kDefaultName,          kDefaultName,           kDefaultName,
    kDefaultName,          kDefaultName,           kDefaultName,
    "NOT_SUPPORT",         "SCHEMA_MISMATCH",      "INVALID_SCHEMA",
    "READ_ONLY",           "INVALID_VALUE_FIELDS", "INVALID_FIELD_TYPE",
    "CONSTRAIN_VIOLATION", "INVALID_FORMAT",       "INVALID_QUERY_FORMAT",
    "INVALID_QUERY_FIELD", kDefaultName,           "RECOVER_SUCCESS",
    "RECOVER_FAILED",      kDefaultName,           "EXCEED_MAX_ACCESS_RATE",
};
static_assert(std::size(kDefaultNames) == 31);

// Null: the default table decides.
const char* OwnName(Status status) {
  switch (status) {
    case Status::STORE_NOT_OPEN:
      return "STORE_NOT_OPEN";
    case Status::STORE_NOT_FOUND:
      return "STORE_NOT_FOUND";
    case Status::STORE_ALREADY_SUBSCRIBE:
      return "STORE_ALREADY_SUBSCRIBE";
    case Status::STORE_NOT_SUBSCRIBE:
      return "STORE_NOT_SUBSCRIBE";
    case Status::KEY_NOT_FOUND:
      return "KEY_NOT_FOUND";
    case Status::DB_ERROR:
      return "DB_ERROR";
    case Status::SECURITY_LEVEL_ERROR:
      return "SECURITY_LEVEL_ERROR";
    default:
      return nullptr;
  }
}

std::string ConstantName(Status& status) {
  if (const char* own = OwnName(status); own != nullptr) return own;
  std::string name;
  JavaException::GetDefaultName(status, name);
  return name;
}

}  // namespace

void JavaException::GetDefaultName(Status& status, std::string& name) {
  const uint32_t index = static_cast<uint32_t>(status) - kFirstNamed;
  name = index < std::size(kDefaultNames) ? kDefaultNames[index] : kDefaultName;
}

bool JavaException::ExceptionObject(JNIEnv* env, Status& status, const std::string& message) {
  constexpr Log log(kExceptionTag, "ExceptionObject");
  jclass errorCodeClass = env->FindClass(kErrorCodeClass);
  if (errorCodeClass == nullptr) {
    log.Error("%s: get KvStoreErrorCode class failed");
    return false;
  }
  log.Error("%s: EXCEPTION code=%d", static_cast<int>(status));
  const std::string name = ConstantName(status);
  jfieldID field = env->GetStaticFieldID(errorCodeClass, name.c_str(), kErrorCodeSignature);
  if (field == nullptr) {
    log.Error("%s: get KvStoreErrorCode field failed");
    return false;
  }
  jobject errorCode = env->GetStaticObjectField(errorCodeClass, field);
  if (errorCode == nullptr) {
    log.Error("%s: get KvStoreErrorCode failed");
    return false;
  }
  jclass exceptionClass = env->FindClass(kExceptionClass);
  if (exceptionClass == nullptr) {
    log.Error("%s: get KvStoreException class failed");
    return false;
  }
  jmethodID constructor = env->GetMethodID(exceptionClass, "<init>", kConstructorSignature);
  if (constructor == nullptr) {
    log.Error("%s: ctorMethod obj failed");
    return false;
  }
  jstring text = env->NewStringUTF(message.c_str());
  jobject exception = env->NewObject(exceptionClass, constructor, errorCode, text);
  if (exception == nullptr) {
    log.Error("%s: new KvStoreErrorCode obj failed");
    return false;
  }
  env->Throw(static_cast<jthrowable>(exception));
  return true;
}

}  // namespace KORA::DistributedKv
