#include "sync/store_sync.h"

#include <algorithm>
#include <utility>

namespace KORA::DistributedKv::Client::Sync {

StoreSync::StoreSync(Hub& hub, Replica& replica, Timers& timers, const Directory& directory,
                     const StoreSyncOptions& options)
    : context_{hub, replica, timers, options, StoreKeys(options.root), {}},
      directory_(directory),
      puller_(context_, *this),
      writer_(context_),
      pusher_(context_, writer_, [this](HubResult result) { OnPushEnd(result); }),
      upkeep_(context_, writer_, [this](bool whole) { OnUpkeepEnd(whole); }),
      calls_(timers, *this) {}

Status StoreSync::Start() {
  std::optional<SyncState> state = ParseState(context_.replica.State());
  if (!state) return Status::DB_ERROR;
  context_.state = std::move(*state);
  started_ = true;
  ScheduleFence();
  Connect();
  return Status::SUCCESS;
}

void StoreSync::Connect() {
  if (!started_ || connecting_ || !IsWanted()) return;
  connecting_ = true;
  puller_.Start();
}

void StoreSync::Disconnect() {
  connection_.Renew();
  connecting_ = false;
  upkeep_.Stop();
  puller_.Stop();
  calls_.OnRestart();
}

void StoreSync::Reconnect(Moment pause) {
  Disconnect();
  connecting_ = true;
  context_.timers.After(pause, connection_.Guard([this] {
    connecting_ = false;
    Connect();
  }));
}

void StoreSync::OnCommit() {
  if (puller_.IsInStep()) Work();
}

void StoreSync::GoContinuous() {
  context_.options.continuous = true;
  Connect();
}

void StoreSync::OnProgress() {
  if (!puller_.IsInStep()) return;
  backoff_ = 0;
  writer_.Learn(puller_.OwnMarker());
  Work();
}

void StoreSync::OnRestart() {
  writer_.Reset(puller_.OwnMarker());
  pusher_.Reset();
  upkeep_.Stop();
  calls_.OnRestart();
}

void StoreSync::OnLost(HubResult reason) {
  backoff_ = std::clamp(2 * backoff_, context_.options.firstBackoff, context_.options.lastBackoff);
  Reconnect(backoff_);
  calls_.OnLost(reason);
}

void StoreSync::OnCallsDue() {
  pusher_.Hurry();
  if (puller_.IsInStep()) return Work();
  Connect();
}

// Whatever there is to do for a replica that is in step.
void StoreSync::Work() {
  const std::vector<uint64_t> unfenced = calls_.TakeUnfenced(context_.replica.LogEnd());
  if (!unfenced.empty()) {
    puller_.Fence([this, unfenced] {
      calls_.OnFence(unfenced);
      Work();
    });
  }
  if (context_.options.continuous || calls_.WantPush()) pusher_.Push();
  if (upkeepDue_) upkeep_.Run();
  calls_.OnPushed(pusher_.Pushed());
  if (!IsWanted()) Disconnect();
}

void StoreSync::OnPushEnd(HubResult result) {
  calls_.OnPushFailed(result);
  if (puller_.IsInStep()) Work();
}

// A store that is synchronised by calls alone has been connected for this since they were answered.
void StoreSync::OnUpkeepEnd(bool whole) {
  upkeepDue_ = false;
  ScheduleUpkeep(whole ? context_.options.upkeepEvery : context_.options.upkeepPause);
  if (!IsWanted()) Disconnect();
}

SyncResult StoreSync::AnswerFor(const std::string& device, SyncResult end) const {
  // Where others are says nothing about what failed here; and without the hub it is not known.
  if (end != SyncResult::kDone || device == context_.options.device) return end;
  switch (directory_.Find(device)) {
    case Whereabouts::kOnline:
      return end;
    case Whereabouts::kOffline:
      return SyncResult::kOffline;
    case Whereabouts::kUnknown:
      break;
  }
  const auto peer = context_.state.peers.find(device);
  return peer == context_.state.peers.end() ? SyncResult::kUnknownDevice : SyncResult::kOffline;
}

SyncResults StoreSync::Answer(const std::vector<std::string>& devices, SyncResult end) const {
  SyncResults results;
  for (const std::string& device : devices) results[device] = AnswerFor(device, end);
  return results;
}

void StoreSync::Sync(const std::vector<std::string>& devices, SyncMode mode, Moment delay, Moment timeout,
                     SyncDone done) {
  if (closed_) return done(Answer(devices, SyncResult::kClosed));
  calls_.Add(devices, mode, delay, timeout, std::move(done));
}

Status ForgetDevice(Replica& replica, SyncState& state, const std::string& self, const std::string& device) {
  if (device == self) return Status::INVALID_ARGUMENT;
  SyncState next = state;
  const auto peer = next.peers.find(device);
  if (peer != next.peers.end()) peer->second.removed = peer->second.newest;
  const Status status = replica.Forget(device, Encode(next));
  if (status == Status::SUCCESS) state = std::move(next);
  return status;
}

Status StoreSync::RemoveDeviceData(const std::string& device) {
  const Status status = ForgetDevice(context_.replica, context_.state, context_.options.device, device);
  // What is on its way in was judged by the state before.
  if (status == Status::SUCCESS && connecting_) Reconnect(0);
  return status;
}

void StoreSync::SetRules(AdmissionRules rules) {
  context_.options.rules = std::move(rules);
  // A session that begins compares the rules with those of the state.
  if (connecting_) Reconnect(0);
}

void StoreSync::ScheduleFence() {
  context_.timers.After(context_.options.fenceEvery, lifetime_.Guard([this] {
    if (puller_.IsInStep()) puller_.Fence([this] { Work(); });
    ScheduleFence();
  }));
}

void StoreSync::ScheduleUpkeep(Moment pause) {
  context_.timers.After(pause, lifetime_.Guard([this] {
    upkeepDue_ = true;
    if (puller_.IsInStep()) Work();
  }));
}

void StoreSync::Close() {
  closed_ = true;
  lifetime_.Renew();
  Disconnect();
  pusher_.Reset();
  writer_.Reset(0);
  calls_.Close();
}

}  // namespace KORA::DistributedKv::Client::Sync
