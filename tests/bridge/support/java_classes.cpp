// The Java classes that the bridge looks up or is registered on, and those of the tests' own callback
// objects.
#include <sstream>

#include "support/java.h"

namespace fake {
namespace {

constexpr const char* kCommon = "kora/data/distributed/common/";
constexpr const char* kDevice = "kora/data/distributed/device/";
constexpr const char* kUser = "kora/data/distributed/user/";

constexpr const char* kDefaultCode = "DEFAULT_DB_ERROR";

// By the status's distance from the first.
const std::map<int, std::string>& ErrorCodes() {
  static const auto* codes = [] {
    std::istringstream rows(
        "1 INVALID_ARGUMENT 4 STORE_NOT_OPEN 5 STORE_NOT_FOUND 6 STORE_ALREADY_SUBSCRIBE 7 "
        "STORE_NOT_SUBSCRIBE "
        "8 KEY_NOT_FOUND 9 DB_ERROR 17 NOT_SUPPORT 18 SCHEMA_MISMATCH 19 INVALID_SCHEMA 20 READ_ONLY "
        "21 INVALID_VALUE_FIELDS 22 INVALID_FIELD_TYPE 23 CONSTRAIN_VIOLATION 24 INVALID_FORMAT "
        "25 INVALID_QUERY_FORMAT 26 INVALID_QUERY_FIELD 28 RECOVER_SUCCESS 29 RECOVER_FAILED "
        "31 EXCEED_MAX_ACCESS_RATE 32 SECURITY_LEVEL_ERROR");
    auto* read = new std::map<int, std::string>;
    for (int status = 0; rows >> status;) rows >> (*read)[status];
    return read;
  }();
  return *codes;
}

Datum Nothing(Object* /*self*/, const std::vector<Datum>& /*arguments*/) {
  return {};
}

void DefineLibrary(Java& java) {
  for (const char* name :
       {"Object", "Class", "String", "NoClassDefFoundError", "NoSuchMethodError", "NoSuchFieldError",
        "OutOfMemoryError", "ArrayIndexOutOfBoundsException", "RuntimeException"}) {
    java.Define(std::string("java/lang/") + name);
  }
  java.Define("[B");
  java.Define("[]");  // an array of any class
  java.Define("java/lang/Integer", {{"value", "I"}}).Constructor("(I)V");
  java.Define("java/util/ArrayList")
      .Constructor("()V")
      .Add("add", "(Ljava/lang/Object;)Z",
           [](Object* self, const std::vector<Datum>& arguments) {
             self->items.push_back(arguments[0].object);
             return Datum{1, nullptr};
           })
      .Add("size", "()I", Nothing)
      .Add("get", "(I)Ljava/lang/Object;", Nothing);
  java.Define("java/util/HashMap")
      .Constructor("()V")
      .Add("put", "(Ljava/lang/Object;Ljava/lang/Object;)Ljava/lang/Object;",
           [](Object* self, const std::vector<Datum>& arguments) {
             for (const Datum& argument : arguments) self->items.push_back(argument.object);
             return Datum{};
           })
      .Add("entrySet", "()Ljava/util/Set;", Nothing);
}

void DefineRecords(Java& java) {
  const std::string common = kCommon;
  java.Define(common + "Entry",
              {{"key", "Ljava/lang/String;"}, {"value", "Lkora/data/distributed/common/Value;"}})
      .Constructor("()V");
  java.Define(common + "Value", {{"type", "B"}, {"value", "[B"}}).Constructor("(B[B)V");
  java.Define(common + "ChangeNotification", {{"insertEntries", "Ljava/util/List;"},
                                              {"updateEntries", "Ljava/util/List;"},
                                              {"deleteEntries", "Ljava/util/List;"},
                                              {"deviceId", "Ljava/lang/String;"}})
      .Constructor("()V");
  java.Define(kDevice + std::string("DeviceInfo"),
              {{"id", "Ljava/lang/String;"}, {"name", "Ljava/lang/String;"}, {"type", "Ljava/lang/String;"}})
      .Constructor("(Ljava/lang/String;Ljava/lang/String;Ljava/lang/String;)V");
  java.Define(common + "KvStoreException", {{"code", "Lkora/data/distributed/common/KvStoreErrorCode;"},
                                            {"message", "Ljava/lang/String;"}})
      .Constructor("(Lkora/data/distributed/common/KvStoreErrorCode;Ljava/lang/String;)V");
  java.Define(common + "KvStoreType", {{"code", "I"}}).Getter("getCode", "()I", "code");
  java.Define(common + "SecurityLevel", {{"code", "I"}}).Getter("getCode", "()I", "code");
  java.Define(common + "SubscribeType", {{"type", "I"}}).Getter("getType", "()I", "type");
  java.Define(common + "Schema", {{"json", "Ljava/lang/String;"}})
      .Getter("toJsonString", "()Ljava/lang/String;", "json");
  java.Define(common + "Options", {{"createIfMissing", "Z"},
                                   {"encrypt", "Z"},
                                   {"backup", "Z"},
                                   {"autoSync", "Z"},
                                   {"kvStoreType", "Lkora/data/distributed/common/KvStoreType;"},
                                   {"securityLevel", "Lkora/data/distributed/common/SecurityLevel;"},
                                   {"storeOwnerType", "I"},
                                   {"schema", "Lkora/data/distributed/common/Schema;"},
                                   {"binarySchema", "[B"}})
      .Getter("isCreateIfMissing", "()Z", "createIfMissing")
      .Getter("isEncrypt", "()Z", "encrypt")
      .Getter("isBackup", "()Z", "backup")
      .Getter("isAutoSync", "()Z", "autoSync")
      .Getter("getKvStoreType", "()Lkora/data/distributed/common/KvStoreType;", "kvStoreType")
      .Getter("getSecurityLevel", "()Lkora/data/distributed/common/SecurityLevel;", "securityLevel")
      .Getter("getStoreOwnerType", "()I", "storeOwnerType")
      .Getter("getSchema", "()Lkora/data/distributed/common/Schema;", "schema")
      .Getter("getBinarySchema", "()[B", "binarySchema");
  std::vector<std::string> codes = {kDefaultCode};
  for (const auto& [status, code] : ErrorCodes()) codes.push_back(code);
  java.DefineEnum(common + "KvStoreErrorCode", codes);
  java.DefineEnum(kDevice + std::string("DeviceStatus"), {"ONLINE", "OFFLINE"});
}

void DefineHandleHolders(Java& java) {
  java.Define(std::string(kCommon) + "KvManagerImpl");
  java.Define(std::string(kCommon) + "KvManagerConfig");
  java.Define(std::string(kCommon) + "KvStoreResultSetImpl", {{"nativeResultSet", "J"}});
  java.Define(std::string(kUser) + "MultiKvStoreImpl", {{"nativeKvStore", "J"}});
  java.Define(std::string(kUser) + "SingleKvStoreImpl", {{"nativeKvStore", "J"}});
  java.Define(std::string(kUser) + "KvStoreSnapshotImpl", {{"nativeSnapshot", "J"}}).Constructor("(J)V");
}

void DefineCallbacks(Java& java) {
  java.Define("test/Observer")
      .Add("onChange", "(Lkora/data/distributed/common/ChangeNotification;)V", Nothing)
      .Add("onChange",
           "(Lkora/data/distributed/common/ChangeNotification;Lkora/data/distributed/user/KvStoreSnapshot;)V",
           Nothing);
  java.Define("test/Recipient").Add("onRemoteDied", "()V", Nothing);
  java.Define("test/Listener")
      .Add("onChanged",
           "(Lkora/data/distributed/device/DeviceInfo;Lkora/data/distributed/device/DeviceStatus;)V",
           Nothing);
  for (const char* name : {"test/SyncListener", "test/OtherSyncListener"}) {
    java.Define(name).Add("syncCompleted", "(Ljava/util/Map;)V", Nothing);
  }
  java.Define("test/Statics")
      .Add("make", "(I)Ljava/lang/Object;", [](Object*, const std::vector<Datum>& arguments) {
        Object* made = Java::Get().Env().New(Java::Get().Find("java/lang/Integer"));
        made->fields["value"] = arguments[0];
        return Datum{0, made};
      });
}

}  // namespace

std::string ErrorCodeName(int status) {
  constexpr int64_t kFirst = 27459584;
  const auto found = ErrorCodes().find(static_cast<int>(status - kFirst));
  return found == ErrorCodes().end() ? kDefaultCode : found->second;
}

void Java::DefineClasses() {
  DefineLibrary(*this);
  DefineRecords(*this);
  DefineHandleHolders(*this);
  DefineCallbacks(*this);
}

}  // namespace fake
