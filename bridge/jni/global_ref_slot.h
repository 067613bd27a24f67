// A JNI global reference that may be deleted while a callback still uses it.
#pragma once

#include <jni.h>

#include <mutex>
#include <utility>
#include <vector>

namespace KORA::DistributedKv {

// Java threads set and delete the reference while threads of the store client call through it. A deletion
// that meets a use in progress is done when the last use ends; otherwise at once.
class GlobalRefSlot {
 public:
  explicit GlobalRefSlot(jobject ref = nullptr) : ref_(ref) {}
  GlobalRefSlot(const GlobalRefSlot&) = delete;
  GlobalRefSlot& operator=(const GlobalRefSlot&) = delete;
  ~GlobalRefSlot() = default;

  // The reference held before is given up, not deleted.
  void Replace(jobject ref) {
    const std::lock_guard<std::mutex> lock(mutex_);
    ref_ = ref;
  }

  void Delete(JNIEnv* env) {
    const std::lock_guard<std::mutex> lock(mutex_);
    jobject ref = std::exchange(ref_, nullptr);
    if (users_ == 0) {
      env->DeleteGlobalRef(ref);
    } else {
      retired_.push_back(ref);
    }
  }

  // Keeps the reference alive for a scope.
  class Use {
   public:
    Use(GlobalRefSlot& slot, JNIEnv* env) : slot_(slot), env_(env), ref_(slot.Enter()) {}
    Use(const Use&) = delete;
    Use& operator=(const Use&) = delete;
    ~Use() { slot_.Leave(env_); }

    // Null when the slot was empty.
    jobject Get() const { return ref_; }

   private:
    GlobalRefSlot& slot_;
    JNIEnv* env_;
    jobject ref_;
  };

 private:
  jobject Enter() {
    const std::lock_guard<std::mutex> lock(mutex_);
    ++users_;
    return ref_;
  }

  void Leave(JNIEnv* env) {
    const std::lock_guard<std::mutex> lock(mutex_);
    if (--users_ > 0) return;
    for (jobject ref : retired_) env->DeleteGlobalRef(ref);
    retired_.clear();
  }

  std::mutex mutex_;
  jobject ref_;
  unsigned users_ = 0;
  std::vector<jobject> retired_;
};

}  // namespace KORA::DistributedKv
