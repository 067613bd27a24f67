// Calls natives by the function pointers that were registered, with the C++ types that their signatures name.
#include <gtest/gtest.h>

#include <algorithm>
#include <utility>

#include "support/script.h"

namespace fake {
namespace {

template <typename T>
constexpr char kCode = 'L';
template <>
constexpr char kCode<void> = 'V';
template <>
constexpr char kCode<jlong> = 'J';
template <>
constexpr char kCode<jint> = 'I';
template <>
constexpr char kCode<jboolean> = 'Z';

template <typename T>
T As(ThreadEnv& env, const Datum& datum) {
  if constexpr (kCode<T> == 'L') {
    return env.Argument(datum.object);
  } else {
    return static_cast<T>(datum.number);
  }
}

template <typename T>
std::string ResultText(T result) {
  if constexpr (kCode<T> == 'L') {
    if (result == nullptr) return "null";
    const auto& reference = *reinterpret_cast<Reference*>(result);
    EXPECT_TRUE(reference.alive) << "the result was deleted";
    return Describe(reference.object);
  } else if constexpr (kCode<T> == 'Z') {
    EXPECT_LE(result, 1);
    return result != JNI_FALSE ? "true" : "false";
  } else if constexpr (kCode<T> == 'J') {
    return Names::Get().Of(result);
  } else {
    return std::to_string(result);
  }
}

using Invoker = std::string (*)(void* function, ThreadEnv& env, const std::vector<Datum>& arguments);

// All references are passed as jobject, which has the representation of jstring and the arrays.
template <typename R, typename... Arguments, size_t... kIndices>
#if defined(__clang__)
__attribute__((no_sanitize("function")))
#endif
std::string
Invoke(void* function, ThreadEnv& env, const std::vector<Datum>& arguments,
       std::index_sequence<kIndices...> /*indices*/) {
  const auto native = reinterpret_cast<R (*)(JNIEnv*, jobject, Arguments...)>(function);
  const jobject self = env.Argument(env.New(Java::Get().Find("java/lang/Object")));
  if constexpr (std::is_void_v<R>) {
    native(&env, self, As<Arguments>(env, arguments[kIndices])...);
    return "void";
  } else {
    return ResultText(native(&env, self, As<Arguments>(env, arguments[kIndices])...));
  }
}

template <typename R, typename... Arguments>
std::pair<const std::string, Invoker> Shape() {
  std::string key;
  ((key += kCode<Arguments>), ...);
  return {key + ")" + kCode<R>, [](void* function, ThreadEnv& env, const std::vector<Datum>& arguments) {
            if (arguments.size() != sizeof...(Arguments)) return std::string("wrong number of arguments");
            return Invoke<R, Arguments...>(function, env, arguments, std::index_sequence_for<Arguments...>());
          }};
}

const std::map<std::string, Invoker>& Shapes() {
  static const std::map<std::string, Invoker> kShapes = {
      Shape<jlong>(),
      Shape<jlong, jobject, jobject, jobject, jlong>(),
      Shape<void, jobject, jobject, jobject, jlong>(),
      Shape<jboolean, jobject, jobject, jobject, jlong>(),
      Shape<void, jobject, jobject, jlong>(),
      Shape<jboolean, jobject, jobject, jlong>(),
      Shape<jobject, jobject, jlong>(),
      Shape<jboolean, jobject, jlong>(),
      Shape<jlong, jobject, jlong>(),
      Shape<jint, jobject, jlong>(),
      Shape<void, jobject, jlong>(),
      Shape<void, jlong, jobject>(),
      Shape<jobject, jlong>(),
      Shape<jint, jlong>(),
      Shape<jboolean, jlong>(),
      Shape<void, jlong>(),
      Shape<jboolean, jlong, jint>(),
      Shape<void, jobject, jint, jint, jlong>(),
      Shape<void, jint, jlong>(),
      Shape<void, jboolean, jlong>(),
  };
  return kShapes;
}

std::string ShapeOf(const std::string& signature) {
  std::string shape;
  for (size_t at = 1; at < signature.size(); ++at) {
    const bool reference = signature[at] == '[' || signature[at] == 'L';
    while (signature[at] == '[') ++at;
    if (signature[at] == 'L') at = signature.find(';', at);
    shape += reference ? 'L' : signature[at];
  }
  return shape;
}

const RegisteredNative* FindNative(const std::string& target) {
  const size_t dot = target.find('.');
  const auto& natives = Java::Get().Natives()[target.substr(0, dot)];
  const auto found = std::find_if(natives.begin(), natives.end(), [&](const RegisteredNative& native) {
    return native.name == target.substr(dot + 1);
  });
  return found == natives.end() ? nullptr : &*found;
}

}  // namespace

std::string CallNative(const std::string& target, const std::vector<Datum>& arguments) {
  const RegisteredNative* native = FindNative(target);
  if (native == nullptr) return "no native " + target;
  const auto shape = Shapes().find(ShapeOf(native->signature));
  if (shape == Shapes().end()) return "no caller for " + native->signature;
  return shape->second(native->function, Java::Get().Env(), arguments);
}

std::string CallNative(const std::string& target, const std::string& arguments) {
  return CallNative(target, ParseValues(Java::Get().Env(), arguments));
}

std::string TakePending() {
  return Java::Get().Env().Take().pending;
}

}  // namespace fake
