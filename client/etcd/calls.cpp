#include "etcd/calls.h"

namespace KORA::DistributedKv::Client::Etcd {

Calls::Calls(Post post)
    : post_(std::move(post)),
      proceed_(lifetime_.Guard([this](Call* call, bool ok) { Proceed(call, ok); })),
      thread_([this] { Wait(); }) {}

Calls::~Calls() {
  lifetime_.Renew();
  for (const auto& [address, call] : calls_) call->Cancel();
  queue_.Shutdown();
  thread_.join();
}

void Calls::Start(std::unique_ptr<Call> call) {
  Call* started = call.get();
  calls_.emplace(started, std::move(call));
  started->Start(queue_);
}

void Calls::Wait() {
  void* tag = nullptr;
  for (bool ok = false; queue_.Next(&tag, &ok);) {
    post_([proceed = proceed_, call = static_cast<Call*>(tag), ok] { proceed(call, ok); });
  }
}

void Calls::Proceed(Call* call, bool ok) {
  if (!call->Proceed(ok)) calls_.erase(call);
}

}  // namespace KORA::DistributedKv::Client::Etcd
