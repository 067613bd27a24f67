#include "sync/puller.h"

#include <algorithm>
#include <iterator>
#include <utility>

#include "common/take_if.h"

namespace KORA::DistributedKv::Client::Sync {

namespace {

size_t SizeOf(const HubEvent& event) {
  return sizeof event + event.key.size() + (event.value ? event.value->size() : 0);
}

}  // namespace

Puller::Puller(Context& context, Owner& owner)
    : context_(context),
      owner_(owner),
      intake_(context, [this](const std::string& key, const Stamp& stamp) { owner_.OnSeen(key, stamp); }) {}

void Puller::Start() {
  Stop();
  // Other rules may admit what was passed over.
  const bool sameRules = context_.state.admission == Describe(context_.options.rules);
  if (context_.state.position == 0 || !sameRules) return Compare();
  StartWatch();
}

void Puller::Stop() {
  step_ = Step::kIdle;
  session_.Renew();
  intake_.Abandon();
  comparison_.reset();
  watch_.reset();
  events_.clear();
  waiting_ = 0;
  taking_ = false;
  due_ = false;
  goals_.clear();
}

void Puller::Lose(HubResult reason) {
  Stop();
  owner_.OnLost(reason);
}

void Puller::Compare() {
  step_ = Step::kComparing;
  comparison_ = std::make_unique<Comparison>(context_, intake_);
  comparison_->Start(session_.Guard([this](HubResult result) {
    if (result != HubResult::kDone) return Lose(result);
    comparison_.reset();
    owner_.OnRestart();
    StartWatch();
  }));
}

void Puller::StartWatch() {
  step_ = Step::kWatching;
  const KeyRange range = RangeOfPrefix(context_.keys.State());
  watch_ = context_.hub.StartWatch(range.begin, range.end, context_.state.position + 1, *this);
}

void Puller::AskMarkers(Revision revision, Hub::Then<RangeAnswer> then) {
  const KeyRange range = RangeOfPrefix(context_.keys.Markers());
  RangeWhole(context_.hub, {range.begin, range.end, revision}, session_.Guard(std::move(then)));
}

void Puller::OnStarted() {
  AskMarkers(context_.state.position, [this](RangeAnswer answer) { Verify(std::move(answer)); });
}

void Puller::Verify(RangeAnswer answer) {
  const bool gone = answer.result == HubResult::kCompacted || answer.result == HubResult::kFuture;
  if (!gone && answer.result != HubResult::kDone) return Lose(answer.result);
  if (gone || !IsSameMoment(context_.state, ToMarkers(context_.keys, std::move(answer.entries)))) {
    Stop();
    return Compare();
  }
  step_ = Step::kVerified;
  Fence([this] { ComeIntoStep(); });
  TakeOnNextTurn();
}

void Puller::ComeIntoStep() {
  step_ = Step::kInStep;
  owner_.OnProgress();
}

void Puller::Fence(std::function<void()> reached) {
  // What is acknowledged from here on the answer may not show yet.
  AskMarkers(0, [this, acknowledged = context_.state.acknowledged,
                 reached = std::move(reached)](RangeAnswer answer) {
    if (answer.result != HubResult::kDone) return Lose(answer.result);
    SetGoal(std::move(answer), acknowledged, reached);
  });
}

void Puller::SetGoal(RangeAnswer answer, Version acknowledged, std::function<void()> reached) {
  const Revision seen = answer.revision;
  const Markers markers = ToMarkers(context_.keys, std::move(answer.entries));
  // The hub has lost what this device had brought to it, beyond the position.
  if (NumberOf(markers, context_.options.device) < acknowledged) {
    Stop();
    return Compare();
  }
  const Revision newest = NewestOf(markers);
  goals_.push_back({newest, seen, session_.Guard(std::move(reached))});
  // A watch that brings nothing although there is something is no watch any more.
  context_.timers.After(context_.options.stallTime, session_.Guard([this, newest] {
    if (context_.state.position < newest && events_.empty() && !taking_) Lose(HubResult::kUnavailable);
  }));
  ReachGoals();
}

void Puller::ReachGoals() {
  if (taking_) return;
  SyncState& state = context_.state;
  const std::vector<Goal> reached =
      TakeIf(goals_, [&state](const Goal& goal) { return goal.revision <= state.position; });
  if (reached.empty()) return;
  for (const Goal& goal : reached) state.position = std::max(state.position, goal.seen);
  if (const std::optional<Version> now = context_.replica.NextVersion()) state.inStep = *now;
  Persist();
  for (const Goal& goal : reached) goal.reached();
}

// So that a quiet store's position does not fall behind what the hub remembers.
void Puller::Persist() {
  Group group;
  group.state = Encode(context_.state);
  // A failure costs nothing but the way that the next session has to go again.
  context_.replica.Merge(group);
}

void Puller::OnEvents(std::vector<HubEvent> events) {
  for (HubEvent& event : events) {
    waiting_ += SizeOf(event);
    events_.push_back(std::move(event));
  }
  if (waiting_ > context_.options.maxWaiting) watch_.reset();
  if (step_ == Step::kVerified || step_ == Step::kInStep) TakeOnNextTurn();
}

// One delivery in each turn of the thread, which is not this store's alone.
void Puller::TakeOnNextTurn() {
  if (std::exchange(due_, true)) return;
  context_.timers.After(0, session_.Guard([this] {
    due_ = false;
    if (!taking_) TakeOne();
  }));
}

// Behind what was taken.
void Puller::BeginAnew() {
  Stop();
  owner_.OnRestart();
  Start();
}

// One revision at a time: what one device committed is one change here.
void Puller::TakeOne() {
  // What was delivered may come again.
  while (!events_.empty() && events_.front().revision <= context_.state.position) TakeOut();
  if (events_.empty() && !watch_ && step_ != Step::kIdle) return BeginAnew();
  if (events_.empty()) return;
  std::vector<HubEvent> delivery = TakeOut();
  SyncState next = context_.state;
  next.position = delivery.front().revision;
  taking_ = true;
  intake_.Take(std::move(delivery), {}, std::move(next), nullptr, session_.Guard([this](HubResult result) {
    taking_ = false;
    if (result != HubResult::kDone) return Lose(result);
    if (context_.state.position == 0) return Restart();
    ReachGoals();
    owner_.OnProgress();
    TakeOnNextTurn();
  }));
}

// The events of the first revision.
std::vector<HubEvent> Puller::TakeOut() {
  const Revision revision = events_.front().revision;
  const auto last = std::find_if(events_.begin(), events_.end(),
                                 [revision](const HubEvent& event) { return event.revision != revision; });
  std::for_each(events_.begin(), last, [this](const HubEvent& event) { waiting_ -= SizeOf(event); });
  std::vector<HubEvent> taken(std::make_move_iterator(events_.begin()), std::make_move_iterator(last));
  events_.erase(events_.begin(), last);
  return taken;
}

void Puller::Restart() {
  Stop();
  Start();
}

void Puller::OnEnd(HubResult reason) {
  if (reason != HubResult::kCompacted) return Lose(reason);
  Stop();
  Compare();
}

Revision Puller::OwnMarker() const {
  const auto own = context_.state.peers.find(context_.options.device);
  return own == context_.state.peers.end() ? 0 : own->second.modified;
}

}  // namespace KORA::DistributedKv::Client::Sync
