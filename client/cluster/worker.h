// The thread that runs the synchronisation.
#pragma once

#include <chrono>
#include <condition_variable>
#include <deque>
#include <functional>
#include <future>
#include <memory>
#include <mutex>
#include <thread>

#include "common/operation_gate.h"
#include "sync/timers.h"

namespace KORA::DistributedKv::Client::Cluster {

// Runs what is posted, in order, and timers by the steady clock. What that throws leaves a line in the log.
class Worker {
 public:
  Worker() : thread_([this] { Run(); }) {}
  Worker(const Worker&) = delete;
  Worker& operator=(const Worker&) = delete;
  ~Worker();

  // Any thread. Once the worker ends, what is posted is dropped.
  void Post(std::function<void()> function);

  // The answer of `function`, once it has run. Any thread but the worker's. Throws what `function` throws,
  // and std::future_error if the worker ends first.
  template <typename Function>
  auto Await(Function function) {
    using Answer = decltype(function());
    auto task = std::make_shared<std::packaged_task<Answer()>>(std::move(function));
    std::future<Answer> answer = task->get_future();
    // Moved, so that it ends with the worker where it is not run.
    Post([task = std::move(task)] { (*task)(); });
    return answer.get();
  }

  // Runs `last` after all that was posted before, and nothing after it. Waits for that until the deadline.
  // One thread at a time.
  void End(std::function<void()> last, Deadline deadline);

  // For what runs on the worker.
  Sync::Timers& Timers() { return timers_; }

 private:
  void Run();
  bool AwaitWork();
  std::function<void()> Take();

  std::mutex mutex_;
  std::condition_variable changed_;
  std::deque<std::function<void()>> functions_;
  bool ended_ = false;
  Sync::Timers timers_;
  std::thread thread_;  // ends first
};

}  // namespace KORA::DistributedKv::Client::Cluster
