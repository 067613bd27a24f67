// What the tests of the hub share: the thread of the synchronisation, requests that are waited for, a
// listener.
#pragma once

#include <gtest/gtest.h>

#include <chrono>
#include <condition_variable>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "etcd/etcd_hub.h"
#include "server.h"

namespace KORA::DistributedKv::Client::Sync {

inline void PrintTo(HubResult result, std::ostream* out) {
  constexpr const char* kNames[] = {"done",      "refused", "unavailable", "unknown",
                                    "compacted", "future",  "full",        "denied"};
  *out << kNames[static_cast<int>(result)];
}

}  // namespace KORA::DistributedKv::Client::Sync

namespace KORA::DistributedKv::Client::Etcd {

using std::chrono::milliseconds;
using std::chrono::seconds;
using Sync::HubEvent;
using Sync::HubResult;
using Sync::LeaseId;
using Sync::Revision;

// Makes the thread that calls it the thread of the synchronisation.
class Pump {
 public:
  void Post(std::function<void()> function) {
    const std::lock_guard<std::mutex> lock(mutex_);
    functions_.push_back(std::move(function));
    posted_.notify_one();
  }

  // Runs what is posted until `done`. False: that took too long.
  bool Until(const std::function<bool()>& done, milliseconds limit = seconds(60)) {
    const auto end = std::chrono::steady_clock::now() + limit;
    std::unique_lock<std::mutex> lock(mutex_);
    while (!done()) {
      if (!posted_.wait_until(lock, end, [this] { return !functions_.empty(); })) return false;
      const std::function<void()> function = std::move(functions_.front());
      functions_.pop_front();
      lock.unlock();
      function();
      lock.lock();
    }
    return true;
  }

 private:
  std::mutex mutex_;
  std::condition_variable posted_;
  std::deque<std::function<void()>> functions_;
};

// Remembers what a watch brings: "created", "5: +key=value -key", "end 4".
class Listener : public Sync::WatchListener {
 public:
  void OnStarted() override { started = true; }
  void OnEvents(std::vector<HubEvent> events) override {
    deliveries.push_back(events.back().revision);
    for (HubEvent& event : events) received.push_back(std::move(event));
  }
  void OnEnd(HubResult reason) override { end = reason; }

  // "+key=value" and "-key" for each event, in one line.
  std::string Text() const {
    std::string text;
    for (const HubEvent& event : received) {
      text +=
          (text.empty() ? "" : " ") + (event.value ? "+" + event.key + "=" + *event.value : "-" + event.key);
    }
    return text;
  }

  bool started = false;
  std::vector<HubEvent> received;
  std::vector<Revision> deliveries;  // the last revision of each
  std::optional<HubResult> end;
};

// A hub with requests that wait for their answers.
class Client {
 public:
  explicit Client(const ClusterSettings& settings) : hub_(Open(settings, pump_)) {}

  Sync::Hub& Hub() { return *hub_; }
  Pump& Events() { return pump_; }
  void Close() { hub_.reset(); }

  Sync::RangeAnswer Range(const Sync::RangeRequest& request) {
    return Await<Sync::RangeAnswer>([&](auto then) { hub_->Range(request, then); });
  }
  Sync::RangeAnswer Get(const std::vector<std::string>& keys) {
    return Await<Sync::RangeAnswer>([&](auto then) { hub_->Get(keys, then); });
  }
  Sync::TransactionAnswer Commit(const Sync::Transaction& transaction) {
    return Await<Sync::TransactionAnswer>([&](auto then) { hub_->Commit(transaction, then); });
  }
  Sync::TransactionAnswer Put(const std::string& key, const std::string& value, LeaseId lease = 0) {
    return Commit({{}, {{key, value, lease}}});
  }
  Sync::TransactionAnswer Delete(const std::string& key) { return Commit({{}, {{key, std::nullopt}}}); }
  Sync::Hub::LeaseAnswer Grant(uint64_t life) {
    return Await<Sync::Hub::LeaseAnswer>([&](auto then) { hub_->GrantLease(life, then); });
  }
  Sync::Hub::LeaseAnswer Keep(LeaseId lease) {
    return Await<Sync::Hub::LeaseAnswer>([&](auto then) { hub_->KeepLease(lease, then); });
  }

  // The value, or "<absent>", or "<failed>".
  std::string Value(const std::string& key) {
    const Sync::RangeAnswer answer = Get({key});
    if (answer.result != HubResult::kDone) return "<failed>";
    return answer.entries.empty() ? "<absent>" : answer.entries[0].value;
  }

  // Asks until the hub answers; false: it did not for too long.
  bool Reach(const std::string& key = "a", milliseconds limit = seconds(60)) {
    const auto end = std::chrono::steady_clock::now() + limit;
    while (std::chrono::steady_clock::now() < end) {
      if (Get({key}).result == HubResult::kDone) return true;
      pump_.Until([] { return false; }, milliseconds(50));
    }
    return false;
  }

 private:
  static std::unique_ptr<Sync::Hub> Open(const ClusterSettings& settings, Pump& pump) {
    std::string error;
    auto hub = OpenHub(
        settings, [&pump](auto function) { pump.Post(std::move(function)); }, error);
    if (!hub) throw std::runtime_error(error);
    return hub;
  }

  template <typename Answer, typename Ask>
  Answer Await(const Ask& ask) {
    std::optional<Answer> answer;
    ask([&answer](Answer given) { answer = std::move(given); });
    EXPECT_FALSE(answer) << "answered within the request";
    if (!pump_.Until([&answer] { return answer.has_value(); }))
      throw std::runtime_error("a request was not answered");
    return *answer;
  }

  Pump pump_;
  std::unique_ptr<Sync::Hub> hub_;
};

// Time-outs are long, so that a busy machine does not change answers; tests of time-outs set their own.
inline ClusterSettings SettingsFor(const Servers& servers, milliseconds timeout = seconds(20)) {
  ClusterSettings settings;
  settings.endpoints = servers.Endpoints();
  settings.timeout = timeout;
  return settings;
}

inline constexpr const char* kAll = "a";
inline constexpr const char* kEnd = "z";

}  // namespace KORA::DistributedKv::Client::Etcd
