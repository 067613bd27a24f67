// As much of Java as the hot natives need, in a plain process: its calls cost next to nothing, always the
// same, and are counted. Objects come from a buffer that is emptied between operations.
#pragma once

#include <jni.h>

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "floor/natives.h"

namespace floors {

class MinimalJava {
 public:
  MinimalJava();
  MinimalJava(const MinimalJava&) = delete;
  MinimalJava& operator=(const MinimalJava&) = delete;
  ~MinimalJava() = default;

  JNIEnv* Env() { return &env_; }
  JavaVM* Vm() { return &vm_; }

  // These stay when the buffer is emptied.
  jobject NewBytes(const std::vector<uint8_t>& bytes);
  jobject NewValue(const std::vector<uint8_t>& bytes);
  jobject NewEntry(const char* key, jobject value);
  jobject NewArray(const std::vector<jobject>& items);

  // What the library that was loaded has registered, by "Class.method"; null for what it has not.
  void* Native(const std::string& name) const;

  static void EmptyBuffer();
  // JNI calls since the process began.
  static uint64_t Calls();

 private:
  JNIEnv_ env_{};
  JavaVM_ vm_{};
};

}  // namespace floors
