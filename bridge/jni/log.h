// Messages to the platform log.
#pragma once

#include <type_traits>

#include "platform_log.h"

namespace KORA::DistributedKv {

// The log of one function: the tag names the family of the code, the label fills the "%s" that each format
// begins with. Formats and arguments are those of printf; a level that is off costs one comparison and
// formats nothing.
class Log {
 public:
  constexpr Log(const char* tag, const char* label) : tag_(tag), label_(label) {}

  template <typename... Args>
  void Debug(const char* format, Args... args) const {
    Print(KORA_LOG_DEBUG, format, args...);
  }
  template <typename... Args>
  void Info(const char* format, Args... args) const {
    Print(KORA_LOG_INFO, format, args...);
  }
  template <typename... Args>
  void Warn(const char* format, Args... args) const {
    Print(KORA_LOG_WARN, format, args...);
  }
  template <typename... Args>
  void Error(const char* format, Args... args) const {
    Print(KORA_LOG_ERROR, format, args...);
  }

  template <typename... Args>
  void Print(int priority, const char* format, Args... args) const {
    static_assert((std::is_scalar_v<Args> && ...), "a variadic function takes scalars only");
    __android_log_print(priority, tag_, format, label_, args...);
  }

 private:
  const char* tag_;
  const char* label_;
};

// The tags, each with the code that writes it.
inline constexpr const char* kManagerTag = "UserKvMgrJNI";  // load, manager, multi-version stores, snapshots
inline constexpr const char* kSingleTag = "DevKvMgrJNI";    // single stores
inline constexpr const char* kResultSetTag = "ResultSetJNI";
inline constexpr const char* kConversionTag = "JavaCJNI";
inline constexpr const char* kExceptionTag = "JavaExpJNI";
inline constexpr const char* kJavaClassTag = "JavaClass";
inline constexpr const char* kObserverTag = "JniObserver";
inline constexpr const char* kDeathTag = "ServiceDeath";
inline constexpr const char* kDeviceListenerTag = "devListener";

}  // namespace KORA::DistributedKv
