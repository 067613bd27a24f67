// What reads the engine for longer than one operation: snapshots and result sets. A program may keep them
// for longer than it keeps the store open.
#pragma once

#include <mutex>
#include <set>

namespace KORA::DistributedKv::Client {

class Reader {
 public:
  Reader() = default;
  Reader(const Reader&) = delete;
  Reader& operator=(const Reader&) = delete;
  virtual ~Reader() = default;

  // Gives back what it holds of the engine, once the calls inside are over.
  virtual void Detach() = 0;
};

// The readers of one store. Any thread may call.
class Readers {
 public:
  void Add(Reader& reader) {
    const std::lock_guard<std::mutex> lock(mutex_);
    readers_.insert(&reader);
  }

  // A reader removes itself when it holds nothing any more; waits for a DetachAll that may be at it.
  void Remove(Reader& reader) {
    const std::lock_guard<std::mutex> lock(mutex_);
    readers_.erase(&reader);
  }

  void DetachAll() {
    const std::lock_guard<std::mutex> lock(mutex_);
    for (Reader* reader : readers_) reader->Detach();
  }

 private:
  std::mutex mutex_;
  std::set<Reader*> readers_;
};

}  // namespace KORA::DistributedKv::Client
