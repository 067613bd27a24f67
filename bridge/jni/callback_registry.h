// Which native wrapper serves which Java callback object.
#pragma once

#include <jni.h>

#include <algorithm>
#include <map>
#include <memory>
#include <mutex>
#include <utility>

namespace KORA::DistributedKv {

// An ordered map from a global reference to the wrapper, and its own mutex. Two references to one object
// differ in value, so an object is found by comparing every key with IsSameObject. Any thread may call. Keys
// are not deleted here unless an operation says so.
template <typename Wrapper>
class CallbackRegistry {
 public:
  using Map = std::map<jobject, std::shared_ptr<Wrapper>>;
  // The key and the wrapper; both null when nothing was found.
  using Registration = std::pair<jobject, std::shared_ptr<Wrapper>>;

  // Keeps what is there when the same key value is present.
  void Insert(jobject key, std::shared_ptr<Wrapper> wrapper) {
    const std::lock_guard<std::mutex> lock(mutex_);
    map_.emplace(key, std::move(wrapper));
  }

  Registration Find(JNIEnv* env, jobject object) {
    const std::lock_guard<std::mutex> lock(mutex_);
    const auto found = FindLocked(env, object);
    return found == map_.end() ? Registration() : Registration(*found);
  }

  Registration FindAndErase(JNIEnv* env, jobject object) {
    const std::lock_guard<std::mutex> lock(mutex_);
    const auto found = FindLocked(env, object);
    if (found == map_.end()) return {};
    Registration erased(*found);
    map_.erase(found);
    return erased;
  }

  // Removes each registration whose wrapper fits and deletes its key. One critical section: a key that
  // another thread removes and deletes meanwhile must not be compared any more. The wrappers end after it.
  template <typename Predicate>
  void EraseIf(JNIEnv* env, Predicate fits) {
    Map erased;
    const std::lock_guard<std::mutex> lock(mutex_);
    const auto next = [&] {
      return std::find_if(map_.begin(), map_.end(), [&](const auto& entry) { return fits(*entry.second); });
    };
    for (auto found = next(); found != map_.end(); found = next()) {
      const auto node = erased.insert(map_.extract(found)).position;
      env->DeleteGlobalRef(node->first);
    }
  }

  void Clear() {
    const std::lock_guard<std::mutex> lock(mutex_);
    map_.clear();
  }

 private:
  typename Map::iterator FindLocked(JNIEnv* env, jobject object) {
    auto entry = map_.begin();
    while (entry != map_.end() && !env->IsSameObject(entry->first, object)) ++entry;
    return entry;
  }

  Map map_;
  std::mutex mutex_;
};

}  // namespace KORA::DistributedKv
