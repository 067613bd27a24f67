// The bytes of a Java array.
#pragma once

#include <jni.h>

#include <cstdint>
#include <vector>

namespace KORA::DistributedKv {

// The elements of a byte array, released at the end of the scope.
class ByteElements {
 public:
  ByteElements(JNIEnv* env, jbyteArray array)
      : env_(env),
        array_(array),
        length_(array == nullptr ? 0 : env->GetArrayLength(array)),
        elements_(array == nullptr ? nullptr : env->GetByteArrayElements(array, nullptr)) {}
  ByteElements(const ByteElements&) = delete;
  ByteElements& operator=(const ByteElements&) = delete;
  ~ByteElements() {
    if (elements_ != nullptr) env_->ReleaseByteArrayElements(array_, elements_, 0);
  }

  // False when the elements could not be obtained, or there is no array. `out` is any container of bytes.
  template <typename Bytes>
  bool AppendTo(Bytes& out) const {
    if (elements_ == nullptr) return false;
    out.insert(out.end(), elements_, elements_ + length_);
    return true;
  }

 private:
  JNIEnv* env_;
  jbyteArray array_;
  jsize length_;
  jbyte* elements_;
};

}  // namespace KORA::DistributedKv
