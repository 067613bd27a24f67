// The one thread of the process on which callbacks run.
#pragma once

#include <chrono>
#include <condition_variable>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>

#include "common/operation_gate.h"

namespace KORA::DistributedKv::Client {

using Callback = std::function<void()>;
// How a host has a callback called; what the callback throws does not get through.
using Invoker = std::function<void(const Callback&)>;

// Something that has callbacks waiting.
class CallbackSource {
 public:
  CallbackSource() = default;
  CallbackSource(const CallbackSource&) = delete;
  CallbackSource& operator=(const CallbackSource&) = delete;
  virtual ~CallbackSource() = default;

  // Has what waits longest delivered; answers whether more is waiting.
  virtual bool DeliverOne(const Invoker& invoke) = 0;
};

// Runs the sources that have something waiting, in turn. A thread of the program may claim the queue and run
// it; otherwise the client starts a thread with the first callback. Any thread may call.
class CallbackQueue {
 public:
  static CallbackQueue& Instance();

  // The source has something waiting. It must not be scheduled again before DeliverOne has answered that no
  // more is.
  void Schedule(std::shared_ptr<CallbackSource> source);

  // True for the first caller, unless the client has started its own thread already: the caller must see to
  // it that a thread calls Run.
  bool Claim();

  // Runs callbacks until Stop.
  void Run(const Invoker& invoke);

  // Whether the calling thread is the one that runs callbacks.
  static bool OnCallbackThread();

  // Begins no further callback. Waits until the deadline for one that the client's own thread is in, save on
  // that very thread; a thread of the program may have been stopped inside one for good.
  void Stop(Deadline deadline);

 private:
  std::shared_ptr<CallbackSource> Next();
  void StartOwnThread();

  std::mutex mutex_;
  std::condition_variable changed_;
  std::deque<std::shared_ptr<CallbackSource>> ready_;
  bool hosted_ = false;     // by the client's own thread or by a claimant
  bool ownThread_ = false;  // by the client's own
  bool running_ = false;    // a callback
  bool stopped_ = false;
};

}  // namespace KORA::DistributedKv::Client
