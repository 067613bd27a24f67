// The token that the hub gives for user and password.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "etcd/calls.h"

namespace KORA::DistributedKv::Client::Etcd {

class Tokens {
 public:
  // Asks the hub; `answer` gets the status and the token.
  using Answer = std::function<void(const grpc::Status& status, const std::string& token)>;
  using Authenticate = std::function<void(Answer answer)>;
  // Called with the status: OK, or why there is no token.
  using Waiter = std::function<void(const grpc::Status& status)>;

  Tokens(bool needed, Authenticate authenticate)
      : authenticate_(std::move(authenticate)), held_(!needed), needed_(needed) {}

  // Calls the waiter once a token is held, which may be within this call.
  void Await(Waiter waiter);
  // The token to send; empty: none.
  const std::string& Token() const { return token_; }
  // The hub has refused `token`. Returns whether it is worth trying again with another.
  bool Discard(const std::string& token);

 private:
  void Take(const grpc::Status& status, const std::string& token);

  const Authenticate authenticate_;
  std::string token_;
  std::vector<Waiter> waiters_;
  bool held_;
  const bool needed_;
};

}  // namespace KORA::DistributedKv::Client::Etcd
