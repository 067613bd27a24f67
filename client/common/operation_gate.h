// Counts the operations that run inside something which is to be closed.
#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <thread>

namespace KORA::DistributedKv::Client {

using Deadline = std::chrono::steady_clock::time_point;

// Any thread may call. Once closed, a gate stays closed.
class OperationGate {
 public:
  // One operation's way through the gate; false when the gate was closed already.
  class Pass {
   public:
    explicit Pass(OperationGate& gate) : gate_(gate), open_((++gate.state_ & kClosed) == 0) {}
    Pass(const Pass&) = delete;
    Pass& operator=(const Pass&) = delete;
    ~Pass() { --gate_.state_; }

    explicit operator bool() const { return open_; }

   private:
    OperationGate& gate_;
    const bool open_;
  };

  // Turns new operations away; those inside go on.
  void Close() { state_ |= kClosed; }

  // Whether all operations were over by the deadline. For a closed gate.
  bool AwaitIdle(Deadline deadline) const {
    constexpr auto kPollInterval = std::chrono::milliseconds(1);
    while (state_ != kClosed) {
      if (std::chrono::steady_clock::now() >= deadline) return false;
      std::this_thread::sleep_for(kPollInterval);
    }
    return true;
  }

 private:
  static constexpr uint64_t kClosed = uint64_t{1} << 63;  // the other bits count the operations inside

  std::atomic<uint64_t> state_{0};
};

}  // namespace KORA::DistributedKv::Client
