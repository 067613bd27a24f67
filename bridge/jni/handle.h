// Native objects as Java sees them: a `long` that holds the address, 0 for none.
#pragma once

#include <jni.h>

#include <cstdint>

namespace KORA::DistributedKv {

template <typename T>
T* ToPointer(jlong handle) {
  return reinterpret_cast<T*>(static_cast<uintptr_t>(handle));  // NOLINT(performance-no-int-to-ptr)
}

template <typename T>
jlong ToHandle(T* object) {
  return static_cast<jlong>(reinterpret_cast<uintptr_t>(object));
}

}  // namespace KORA::DistributedKv
