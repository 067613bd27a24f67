#include "cluster/member.h"

#include <atomic>
#include <utility>

#include "common/guard.h"

namespace KORA::DistributedKv::Client::Cluster {

namespace {

// Of a call, from the end of its delay on. One that can't reach the hub is given up long before.
constexpr Sync::Moment kSyncPatience = Sync::Moment{10} * 60 * 1000;

Sync::AdmissionRules RulesOf(const Store& store) {
  const SyncSettings settings = store.GetSyncSettings();
  Sync::AdmissionRules rules;
  rules.securityLevel = store.Traits().securityLevel;
  rules.labels = settings.capabilityEnabled;
  rules.local = {settings.localLabels.begin(), settings.localLabels.end()};
  rules.remote = {settings.remoteLabels.begin(), settings.remoteLabels.end()};
  return rules;
}

// Stores of the two kinds have nothing in common, even if they bear the same name.
std::string RootOf(const std::string& nameSpace, const std::string& application, const Store& store) {
  const char* kind = store.Traits().kind == StoreKind::kSingle ? "single" : "multi";
  return nameSpace + '/' + application + '/' + store.Id() + '/' + kind + '/';
}

Sync::StoreSyncOptions OptionsOf(const Surroundings& around, const std::string& application,
                                 const Store& store) {
  Sync::StoreSyncOptions options;
  options.root = RootOf(around.nameSpace, application, store);
  options.device = around.device;
  options.rules = RulesOf(store);
  return options;
}

Sync::SyncMode ToMode(SyncMode mode) {
  if (mode == SyncMode::PULL) return Sync::SyncMode::kPull;
  return mode == SyncMode::PUSH ? Sync::SyncMode::kPush : Sync::SyncMode::kPushPull;
}

Status ToStatus(Sync::SyncResult result) {
  if (result == Sync::SyncResult::kDone) return Status::SUCCESS;
  if (result == Sync::SyncResult::kStoreFailed) return Status::DB_ERROR;
  return result == Sync::SyncResult::kClosed ? Status::STORE_NOT_OPEN : Status::ERROR;
}

}  // namespace

// Brings commits to the worker: any number of them at once.
class Member::Commits : public std::enable_shared_from_this<Commits> {
 public:
  Commits(Worker& worker, std::function<void()> run) : worker_(worker), run_(std::move(run)) {}

  // Under the store's write lock.
  void OnLogged() noexcept {
    if (posted_.exchange(true)) return;
    const Status posted = Guard([this] { worker_.Post([self = shared_from_this()] { self->Run(); }); });
    if (posted != Status::SUCCESS) posted_ = false;
  }

 private:
  void Run() {
    posted_ = false;
    run_();
  }

  Worker& worker_;
  const std::function<void()> run_;
  std::atomic<bool> posted_{false};
};

std::unique_ptr<Member> Member::Enter(const Surroundings& around, const std::string& application,
                                      std::shared_ptr<Store> store, Status& status) {
  std::unique_ptr<StoreReplica> replica;
  status = StoreReplica::Open(store, replica);
  if (status != Status::SUCCESS) return nullptr;
  std::unique_ptr<Member> member(new Member(around, application, std::move(store), std::move(replica)));
  status = member->sync_.Start();
  if (status != Status::SUCCESS) return nullptr;
  const auto commits = std::make_shared<Commits>(
      around.worker, member->lifetime_.Guard([raw = member.get()] { raw->sync_.OnCommit(); }));
  member->store_->OnLogged([commits] { commits->OnLogged(); });
  return member;
}

Member::Member(const Surroundings& around, const std::string& application, std::shared_ptr<Store> store,
               std::unique_ptr<StoreReplica> replica)
    : store_(std::move(store)),
      replica_(std::move(replica)),
      sync_(around.hub, *replica_, around.worker.Timers(), around.directory,
            OptionsOf(around, application, *store_)) {}

Member::~Member() {
  store_->OnLogged({});
  sync_.Close();
}

void Member::Synchronise(const std::shared_ptr<SyncRequest>& request) {
  const int32_t delay =
      request->DelayMs() > 0 ? request->DelayMs() : store_->GetSyncSettings().allowedDelayMs;
  sync_.Sync(request->Devices(), ToMode(request->Mode()), static_cast<Sync::Moment>(delay), kSyncPatience,
             [this, request](const Sync::SyncResults& results) { request->End(ToOutcomes(results)); });
}

SyncOutcomes Member::ToOutcomes(const Sync::SyncResults& results) const {
  SyncOutcomes outcomes;
  for (const auto& [device, result] : results) {
    outcomes[device] = store_->HasFailed() ? SyncOutcome{Status::DB_ERROR, "the store has failed"}
                                           : SyncOutcome{ToStatus(result), NameOf(result)};
  }
  return outcomes;
}

void Member::TakeRules() {
  sync_.SetRules(RulesOf(*store_));
}

}  // namespace KORA::DistributedKv::Client::Cluster
