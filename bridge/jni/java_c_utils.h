// Conversions between Java objects and the records of the store client.
#pragma once

#include <jni.h>

#include <cstdint>
#include <list>
#include <map>
#include <string>
#include <vector>

#include "contract/change_notification.h"
#include "contract/entry.h"
#include "contract/status.h"
#include "contract/types.h"

namespace KORA::DistributedKv {

// A Java value is an object of type byte and payload; a native value is the type byte followed by the
// payload. New objects are local references that belong to the caller. Exceptions that are left pending stay
// so.
class JavaCUtils {
 public:
  // Fills the cache of classes and identifiers that the conversions use; false at the first thing that is
  // missing. Runs once, while the library is loaded: the class references live as long as the process.
  static bool Init(JNIEnv* env);
  static bool InitEntryClassInfo(JNIEnv* env);
  static bool InitValueClassInfo(JNIEnv* env);
  static bool InitIntegerClassInfo(JNIEnv* env);
  static bool InitHashMapClassInfo(JNIEnv* env);
  static bool InitKvStoreChangedDataImplClassInfo(JNIEnv* env);
  static bool InitArrayListClassInfo(JNIEnv* env);
  static bool InitDeviceInfo(JNIEnv* env);

  // From Java: false, or an empty result, when the Java side could not be read. Bytes are appended to `out`.
  static bool CopyKeyFromJava2C(JNIEnv* env, jbyteArray key, std::vector<uint8_t>& out);
  static bool CopyValueFromJava2C(JNIEnv* env, jobject value, std::vector<uint8_t>& out);
  // Skips empty texts. False only where there is no array.
  static bool CopyDeviceList(JNIEnv* env, jobjectArray deviceIds, std::vector<std::string>& out);
  static jobject GetEntryKey(JNIEnv* env, jobject& entry);
  static jobject GetEntryValue(JNIEnv* env, jobject& entry);

  // To Java: null on failure.
  static jbyteArray CopyKeyFromC2Java(JNIEnv* env, const Blob& key);
  static jobject CopyValueFromC2Java(JNIEnv* env, const Blob& value);
  static jobject BuildJavaKvEntry(JNIEnv* env, const Entry& entry);
  static jobject BuildJavaList(JNIEnv* env, const std::list<Entry>& entries);
  static jobject BuildJavaList(JNIEnv* env, const std::vector<Entry>& entries);
  static jobject BuildDeviceInfo(JNIEnv* env, const DeviceInfo& device);
  static jobject BuildDeviceInfoList(JNIEnv* env, const std::vector<DeviceInfo>& devices);
  static jobject BuildJavaChangeNotification(JNIEnv* env, const ChangeNotification& notification);
  // A map from device identifier to Integer: 0 for success, 1 for any failure.
  static jobject HashMapDatas(JNIEnv* env, const std::map<std::string, Status>& results);
  // A constant of the device status enumeration.
  static jobject GetJavaEnumByName(JNIEnv* env, const std::string& className,
                                   const std::string& constantName);

  static jobject HashMapInstance(JNIEnv* env);
  static jobject IntegerInstance(JNIEnv* env, int value);
  static jobject ArrayInstance(JNIEnv* env);
  static void ArrayAdd(JNIEnv* env, jobject& list, jstring item);
};

}  // namespace KORA::DistributedKv
