#include "jni/java_class.h"

#include <cstdarg>

#include "jni/log.h"

namespace KORA::DistributedKv {

JavaClass::JavaClass(JNIEnv* env, const char* className) : env_(env) {
  if (!env_->ExceptionCheck()) class_ = env_->FindClass(className);
}

JavaClass::JavaClass(JNIEnv* env, jobject object) : env_(env) {
  if (!env_->ExceptionCheck() && object != nullptr) class_ = env_->GetObjectClass(object);
}

JavaClass::~JavaClass() {
  if (class_ != nullptr) env_->DeleteLocalRef(class_);
}

jobject JavaClass::NewObject(const char* ctorSignature, ...) {
  if (class_ == nullptr) return nullptr;
  jmethodID constructor = env_->GetMethodID(class_, "<init>", ctorSignature);
  if (env_->ExceptionCheck()) return nullptr;
  va_list arguments;
  va_start(arguments, ctorSignature);
  jobject object = env_->NewObjectV(class_, constructor, arguments);
  va_end(arguments);
  return object;
}

jmethodID JavaClass::GetMethod(const char* name, const char* signature) {
  if (class_ == nullptr) return nullptr;
  jmethodID method = env_->GetMethodID(class_, name, signature);
  if (env_->ExceptionOccurred() != nullptr) {
    constexpr Log log(kJavaClassTag, "GetMethod");
    log.Warn("%s: GetMethod [%s] ExceptionOccurred", name);
    env_->ExceptionClear();
    return nullptr;
  }
  return method;
}

jmethodID JavaClass::GetStaticMethod(const char* name, const char* signature) {
  return class_ == nullptr ? nullptr : env_->GetStaticMethodID(class_, name, signature);
}

jfieldID JavaClass::GetField(const char* name, const char* signature) {
  return class_ == nullptr ? nullptr : env_->GetFieldID(class_, name, signature);
}

jobject JavaClass::CallStaticObjectMethod(jmethodID method, ...) {
  if (method == nullptr || class_ == nullptr) return nullptr;
  va_list arguments;
  va_start(arguments, method);
  jobject result = env_->CallStaticObjectMethodV(class_, method, arguments);
  va_end(arguments);
  return result;
}

jobject JavaClass::CallObjectMethod(jobject object, jmethodID method, ...) {
  if (object == nullptr || method == nullptr) return nullptr;
  va_list arguments;
  va_start(arguments, method);
  jobject result = env_->CallObjectMethodV(object, method, arguments);
  va_end(arguments);
  return result;
}

jboolean JavaClass::CallBooleanMethod(jobject object, jmethodID method, ...) {
  if (object == nullptr || method == nullptr) return JNI_FALSE;
  va_list arguments;
  va_start(arguments, method);
  jboolean result = env_->CallBooleanMethodV(object, method, arguments);
  va_end(arguments);
  return result;
}

jint JavaClass::CallIntMethod(jobject object, jmethodID method, ...) {
  if (object == nullptr || method == nullptr) return -1;
  va_list arguments;
  va_start(arguments, method);
  jint result = env_->CallIntMethodV(object, method, arguments);
  va_end(arguments);
  return result;
}

void JavaClass::CallVoidMethod(jobject object, jmethodID method, ...) {
  if (object == nullptr || method == nullptr) return;
  va_list arguments;
  va_start(arguments, method);
  // The list goes on as one extra argument, not in the list form: callers rely on nothing but the bare call.
  env_->CallVoidMethod(object, method, arguments);
  va_end(arguments);
}

jbyte JavaClass::GetByteField(jobject object, jfieldID field) {
  return object == nullptr || field == nullptr ? jbyte{0} : env_->GetByteField(object, field);
}

jlong JavaClass::GetLongField(jobject object, jfieldID field) {
  return object == nullptr || field == nullptr ? 0 : env_->GetLongField(object, field);
}

jobject JavaClass::GetObjectField(jobject object, jfieldID field) {
  return object == nullptr || field == nullptr ? nullptr : env_->GetObjectField(object, field);
}

void JavaClass::SetLongField(jobject object, jfieldID field, jlong value) {
  if (object != nullptr && field != nullptr) env_->SetLongField(object, field, value);
}

void JavaClass::SetObjectField(jobject object, jfieldID field, jobject value) {
  if (object != nullptr && field != nullptr) env_->SetObjectField(object, field, value);
}

}  // namespace KORA::DistributedKv
