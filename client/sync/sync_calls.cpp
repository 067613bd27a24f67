#include "sync/sync_calls.h"

#include <algorithm>
#include <array>
#include <utility>

namespace KORA::DistributedKv::Client::Sync {

namespace {

// Sessions that a call sees end before it is given up.
constexpr int kMaxLosses = 3;

}  // namespace

SyncResult ToResult(HubResult reason) {
  if (reason == HubResult::kFull) return SyncResult::kFull;
  if (reason == HubResult::kStoreFailed) return SyncResult::kStoreFailed;
  return reason == HubResult::kDenied ? SyncResult::kDenied : SyncResult::kUnavailable;
}

const char* NameOf(SyncResult result) {
  constexpr std::array kNames = {"done",   "unknown device", "offline", "hub unavailable", "full",
                                 "denied", "time-out",       "closed",  "the store failed"};
  return kNames.at(static_cast<size_t>(result));
}

void SyncCalls::Add(std::vector<std::string> devices, SyncMode mode, Moment delay, Moment timeout,
                    SyncDone done) {
  Call& call = calls_.emplace_back();
  call.number = ++lastNumber_;
  call.devices = std::move(devices);
  call.mode = mode;
  call.timeout = timeout;
  call.done = std::move(done);
  timers_.After(delay, lifetime_.Guard([this, number = call.number] {
    const bool waits = std::any_of(calls_.begin(), calls_.end(), [number](const Call& waiting) {
      return waiting.number == number && !waiting.running;
    });
    if (waits) StartAll();
  }));
}

void SyncCalls::StartAll() {
  for (Call& call : calls_) {
    if (call.running) continue;
    call.running = true;
    timers_.After(call.timeout, lifetime_.Guard([this, number = call.number] {
      EndThose([number](const Call& late) { return late.number == number; }, SyncResult::kTimeout);
    }));
  }
  owner_.OnCallsDue();
}

bool SyncCalls::AreRunning() const {
  return std::any_of(calls_.begin(), calls_.end(), [](const Call& call) { return call.running; });
}

bool SyncCalls::WantPush() const {
  return std::any_of(calls_.begin(), calls_.end(),
                     [](const Call& call) { return call.running && call.mode != SyncMode::kPull; });
}

std::vector<uint64_t> SyncCalls::TakeUnfenced(LogPosition logEnd) {
  std::vector<uint64_t> numbers;
  for (Call& call : calls_) {
    if (!call.running || call.fenced) continue;
    call.fenced = true;
    call.goal = call.mode == SyncMode::kPull ? 0 : logEnd;
    numbers.push_back(call.number);
  }
  return numbers;
}

void SyncCalls::OnFence(const std::vector<uint64_t>& calls) {
  for (Call& call : calls_) {
    call.pulled = call.pulled || std::find(calls.begin(), calls.end(), call.number) != calls.end();
  }
}

void SyncCalls::OnPushed(LogPosition pushed) {
  EndThose([pushed](const Call& call) { return call.pulled && call.goal <= pushed; }, SyncResult::kDone);
}

void SyncCalls::OnRestart() {
  for (Call& call : calls_) call.fenced = call.pulled;
}

void SyncCalls::OnLost(HubResult reason) {
  OnRestart();
  for (Call& call : calls_) call.losses += call.running ? 1 : 0;
  const bool hopeless = reason == HubResult::kDenied;
  EndThose([hopeless](const Call& call) { return call.running && (hopeless || call.losses >= kMaxLosses); },
           ToResult(reason));
}

void SyncCalls::OnPushFailed(HubResult reason) {
  if (ToResult(reason) == SyncResult::kUnavailable) return;
  EndThose([](const Call& call) { return call.running && call.mode != SyncMode::kPull; }, ToResult(reason));
}

void SyncCalls::Close() {
  lifetime_.Renew();
  EndThose([](const Call&) { return true; }, SyncResult::kClosed);
}

// Those who are told may make further calls.
template <typename Is>
void SyncCalls::EndThose(Is is, SyncResult end) {
  std::list<Call> ended;
  for (auto call = calls_.begin(); call != calls_.end();) {
    const auto next = std::next(call);
    if (is(*call)) ended.splice(ended.end(), calls_, call);
    call = next;
  }
  for (const Call& call : ended) call.done(owner_.Answer(call.devices, end));
}

}  // namespace KORA::DistributedKv::Client::Sync
