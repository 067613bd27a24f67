#include "etcd/tokens.h"

#include "etcd/outcome.h"

namespace KORA::DistributedKv::Client::Etcd {

void Tokens::Await(Waiter waiter) {
  if (held_) return waiter({});
  waiters_.push_back(std::move(waiter));
  if (waiters_.size() > 1) return;
  authenticate_([this](const grpc::Status& status, const std::string& token) { Take(status, token); });
}

void Tokens::Take(const grpc::Status& status, const std::string& token) {
  // A hub that lets in everybody needs no token: so users can be introduced while devices are in use.
  const bool open = IsAuthenticationOff(status);
  held_ = open || status.ok();
  token_ = held_ ? token : "";
  std::vector<Waiter> waiters;
  waiters.swap(waiters_);
  for (const Waiter& waiter : waiters) waiter(open ? grpc::Status() : status);
}

bool Tokens::Discard(const std::string& token) {
  // Another request may have had a new one issued meanwhile.
  if (token == token_) held_ = !needed_;
  return needed_;
}

}  // namespace KORA::DistributedKv::Client::Etcd
