// Tables of native methods, checked against the functions that implement them.
#pragma once

#include <jni.h>

#include <array>
#include <cstddef>
#include <stdexcept>
#include <string_view>

#include "jni/boundary.h"

namespace KORA::DistributedKv {

// Takes the JNI type signature (JNI specification, "Type Signatures") of a C++ type from the front of `rest`.
// False when something else stands there.
template <typename Type>
constexpr bool TakeSignature(std::string_view& rest);

constexpr bool TakeText(std::string_view& rest, std::string_view text) {
  if (rest.substr(0, text.size()) != text) return false;
  rest.remove_prefix(text.size());
  return true;
}

constexpr bool TakeClass(std::string_view& rest) {
  const size_t end = rest.find(';');
  if (end == std::string_view::npos || !TakeText(rest, "L")) return false;
  rest.remove_prefix(end);
  return true;
}

template <>
constexpr bool TakeSignature<void>(std::string_view& rest) {
  return TakeText(rest, "V");
}
template <>
constexpr bool TakeSignature<jboolean>(std::string_view& rest) {
  return TakeText(rest, "Z");
}
template <>
constexpr bool TakeSignature<jint>(std::string_view& rest) {
  return TakeText(rest, "I");
}
template <>
constexpr bool TakeSignature<jlong>(std::string_view& rest) {
  return TakeText(rest, "J");
}
template <>
constexpr bool TakeSignature<jstring>(std::string_view& rest) {
  return TakeText(rest, "Ljava/lang/String;");
}
template <>
constexpr bool TakeSignature<jbyteArray>(std::string_view& rest) {
  return TakeText(rest, "[B");
}
template <>
constexpr bool TakeSignature<jobjectArray>(std::string_view& rest) {
  return TakeText(rest, "[") && TakeClass(rest);
}
template <>
constexpr bool TakeSignature<jobject>(std::string_view& rest) {
  return rest.substr(0, 18) != "Ljava/lang/String;" && TakeClass(rest);
}

template <auto Native>
struct Descriptor;

template <typename Result, typename... Args, Result (*Native)(JNIEnv*, jobject, Args...)>
struct Descriptor<Native> {
  static constexpr bool Matches(std::string_view signature) {
    return TakeText(signature, "(") && (TakeSignature<Args>(signature) && ...) && TakeText(signature, ")") &&
           TakeSignature<Result>(signature) && signature.empty();
  }
};

// One row of a registration table.
struct NativeMethod {
  const char* name;
  const char* signature;
  void* (*function)();
};

// `Native` under its Java name. A signature that does not describe `Native` stops the compilation where the
// table is constexpr.
template <auto Native>
constexpr NativeMethod Method(const char* name, const char* signature) {
  if (!Descriptor<Native>::Matches(signature)) {
    throw std::logic_error("the signature is not that of the function");
  }
  return {name, signature, [] { return reinterpret_cast<void*>(&Boundary<Native>::Call); }};
}

// Binds the rows to the class, in their order; answers what the environment answers.
template <size_t Count>
jint RegisterMethods(JNIEnv* env, jclass clazz, const NativeMethod (&table)[Count]) {
  std::array<JNINativeMethod, Count> methods{};
  for (size_t i = 0; i < Count; ++i) {
    methods[i] = {const_cast<char*>(table[i].name), const_cast<char*>(table[i].signature),
                  table[i].function()};
  }
  return env->RegisterNatives(clazz, methods.data(), static_cast<jint>(Count));
}

}  // namespace KORA::DistributedKv
