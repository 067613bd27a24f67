// A Java class for the length of one native call.
#pragma once

#include <jni.h>

namespace KORA::DistributedKv {

// Owns a local reference to the class, so it must not cross threads. Lookups on a missing class, and calls
// and accesses on a missing object or identifier, answer a fixed neutral result without reaching the
// environment: null, false, 0, and -1 for CallIntMethod. The calls and accesses need only the object and the
// identifier, not the class.
class JavaClass {
 public:
  // Without a class when it was not found, there is no object, or an exception is pending.
  JavaClass(JNIEnv* env, const char* className);
  JavaClass(JNIEnv* env, jobject object);
  JavaClass(const JavaClass&) = delete;
  JavaClass& operator=(const JavaClass&) = delete;
  ~JavaClass();

  explicit operator bool() const { return class_ != nullptr; }

  // A new local reference. A missing constructor leaves its exception pending.
  jobject NewObject(const char* ctorSignature, ...);

  // A missing method is logged and its exception cleared; the other lookups leave theirs pending.
  jmethodID GetMethod(const char* name, const char* signature);
  jmethodID GetStaticMethod(const char* name, const char* signature);
  jfieldID GetField(const char* name, const char* signature);

  jobject CallStaticObjectMethod(jmethodID method, ...);
  jobject CallObjectMethod(jobject object, jmethodID method, ...);
  jboolean CallBooleanMethod(jobject object, jmethodID method, ...);
  jint CallIntMethod(jobject object, jmethodID method, ...);
  // For methods without parameters only: the Java method never receives the arguments.
  void CallVoidMethod(jobject object, jmethodID method, ...);

  jbyte GetByteField(jobject object, jfieldID field);
  jlong GetLongField(jobject object, jfieldID field);
  jobject GetObjectField(jobject object, jfieldID field);
  void SetLongField(jobject object, jfieldID field, jlong value);
  void SetObjectField(jobject object, jfieldID field, jobject value);

 private:
  JNIEnv* env_;
  jclass class_ = nullptr;
};

}  // namespace KORA::DistributedKv
