// The characters of a Java string.
#pragma once

#include <jni.h>

#include <string>
#include <utility>

namespace KORA::DistributedKv {

// The modified UTF-8 characters of a string (JNI specification), released at the end of the scope. Empty when
// they could not be obtained, or there is no string.
class UtfChars {
 public:
  UtfChars() = default;
  UtfChars(JNIEnv* env, jstring string)
      : env_(env),
        string_(string),
        chars_(string == nullptr ? nullptr : env->GetStringUTFChars(string, nullptr)) {}
  UtfChars(UtfChars&& other) noexcept
      : env_(other.env_), string_(other.string_), chars_(std::exchange(other.chars_, nullptr)) {}
  UtfChars(const UtfChars&) = delete;
  UtfChars& operator=(const UtfChars&) = delete;
  UtfChars& operator=(UtfChars&&) = delete;
  ~UtfChars() { Release(); }

  // Gives the characters back before the end of the scope.
  void Release() {
    if (chars_ != nullptr) env_->ReleaseStringUTFChars(string_, std::exchange(chars_, nullptr));
  }

  // An exception that is pending already forbids the call, and the text counts as not obtained.
  static UtfChars UnlessPending(JNIEnv* env, jstring string) {
    return env->ExceptionCheck() ? UtfChars() : UtfChars(env, string);
  }

  explicit operator bool() const { return chars_ != nullptr; }
  const char* Get() const { return chars_; }
  // The text, or an empty one.
  std::string Text() const { return chars_ == nullptr ? std::string() : std::string(chars_); }

 private:
  JNIEnv* env_ = nullptr;
  jstring string_ = nullptr;
  const char* chars_ = nullptr;
};

}  // namespace KORA::DistributedKv
