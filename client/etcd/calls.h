// Calls to the hub that are under way, and the thread that waits for them.
#pragma once

#include <grpcpp/alarm.h>
#include <grpcpp/grpcpp.h>

#include <chrono>
#include <functional>
#include <memory>
#include <string>
#include <thread>
#include <unordered_map>
#include <utility>

#include "etcd/etcd_hub.h"
#include "sync/lifetime.h"

namespace KORA::DistributedKv::Client::Etcd {

using Milliseconds = std::chrono::milliseconds;

// One thing at a time that gRPC does for us: each step that is started names this object as its tag.
class Call {
 public:
  Call() = default;
  Call(const Call&) = delete;
  Call& operator=(const Call&) = delete;
  virtual ~Call() = default;

  virtual void Start(grpc::CompletionQueue& queue) = 0;
  // A step is done. Returns whether another was started; if not, the call is over and destroyed.
  virtual bool Proceed(bool ok) = 0;
  // Makes it end soon.
  virtual void Cancel() = 0;
};

// All members are called on the thread of the synchronisation. The thread in here only waits, and posts what
// has come: so nothing else needs a lock, and a store that is slow at taking events slows the hub's sending.
class Calls {
 public:
  explicit Calls(Post post);
  Calls(const Calls&) = delete;
  Calls& operator=(const Calls&) = delete;
  // Cancels what is under way.
  ~Calls();

  void Start(std::unique_ptr<Call> call);

 private:
  void Wait();
  void Proceed(Call* call, bool ok);

  const Post post_;
  grpc::CompletionQueue queue_;
  std::unordered_map<Call*, std::unique_ptr<Call>> calls_;
  Sync::Lifetime lifetime_;
  std::function<void(Call*, bool)> proceed_;  // does nothing once this object is gone
  std::thread thread_;
};

template <typename Response>
struct Reply {
  grpc::Status status;
  Response response = {};
  bool sent = true;  // false: none of the request has left this device
};

// A call with one request and one response.
template <typename Response>
class UnaryCall final : public Call {
 public:
  using Reader = grpc::ClientAsyncResponseReader<Response>;
  using Prepare = std::function<std::unique_ptr<Reader>(grpc::ClientContext*, grpc::CompletionQueue*)>;
  using Done = std::function<void(Reply<Response>)>;

  UnaryCall(Prepare prepare, Done done) : prepare_(std::move(prepare)), done_(std::move(done)) {}

  grpc::ClientContext& Context() { return context_; }
  // Cancel leaves it to its deadline.
  void Insist() { insists_ = true; }

  void Start(grpc::CompletionQueue& queue) override {
    reader_ = prepare_(&context_, &queue);
    reader_->StartCall();
    reader_->Finish(&response_, &status_, this);
  }
  bool Proceed(bool /*ok*/) override {
    done_({std::move(status_), std::move(response_)});
    return false;
  }
  void Cancel() override {
    if (!insists_) context_.TryCancel();
  }

 private:
  const Prepare prepare_;
  const Done done_;
  grpc::ClientContext context_;
  grpc::Status status_;
  Response response_;
  std::unique_ptr<Reader> reader_;
  bool insists_ = false;
};

// Does something later.
class AlarmCall final : public Call {
 public:
  AlarmCall(Milliseconds delay, std::function<void()> run) : delay_(delay), run_(std::move(run)) {}

  void Start(grpc::CompletionQueue& queue) override {
    alarm_.Set(&queue, std::chrono::system_clock::now() + delay_, this);
  }
  bool Proceed(bool ok) override {
    if (ok) run_();
    return false;
  }
  void Cancel() override { alarm_.Cancel(); }

 private:
  const Milliseconds delay_;
  const std::function<void()> run_;
  grpc::Alarm alarm_;
};

}  // namespace KORA::DistributedKv::Client::Etcd
