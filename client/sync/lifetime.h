// Answers that come too late.
#pragma once

#include <memory>
#include <utility>

namespace KORA::DistributedKv::Client::Sync {

// A function that is guarded does nothing once its lifetime has ended or was renewed: so answers to what was
// asked before a restart, or by an object that is gone, are dropped. One thread.
class Lifetime {
 public:
  void Renew() { token_ = std::make_shared<char>(); }

  template <typename Function>
  auto Guard(Function function) const {
    return [token = std::weak_ptr<char>(token_), function = std::move(function)](auto&&... arguments) {
      if (const auto held = token.lock()) function(std::forward<decltype(arguments)>(arguments)...);
    };
  }

 private:
  std::shared_ptr<char> token_ = std::make_shared<char>();
};

}  // namespace KORA::DistributedKv::Client::Sync
