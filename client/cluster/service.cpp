#include "cluster/service.h"

#include <unistd.h>

#include <atomic>
#include <cstdlib>
#include <utility>

#include "cluster/device_data.h"
#include "common/files.h"
#include "common/guard.h"
#include "common/limits.h"
#include "common/settings.h"
#include "common/utf8.h"
#include "device/local_device.h"
#include "device/other_devices.h"
#include "etcd/etcd_hub.h"

namespace KORA::DistributedKv::Client::Cluster {

namespace {

// In use until the process has ended.
std::atomic<Service*> g_service{nullptr};

// The end of the process destroys what the hub's library has, in the reverse order of what was made and
// registered: so this is registered before that is loaded, for a process that ends at once, and after.
void RegisterEnd() {
  std::atexit(Service::EndRunning);
}

DeviceInfo ToDevice(const std::string& device, const Sync::DeviceDescription& description) {
  return {device, ToModifiedUtf8(description.name).value_or("unknown"),
          ToModifiedUtf8(description.type).value_or("unknown")};
}

}  // namespace

Service* Service::Find() {
  static auto& starting = *new std::mutex();
  const std::lock_guard<std::mutex> lock(starting);
  if (g_service.load() != nullptr) return g_service;
  const Settings* settings = nullptr;
  DeviceInfo device;
  if (FindSettings(settings) != Status::SUCCESS || settings->cluster.endpoints.empty() ||
      settings->access == Access::kReadOnly || IsOnReadOnlyFileSystem(settings->home) ||
      FindLocalDevice(device) != Status::SUCCESS) {
    return nullptr;
  }
  auto service = std::unique_ptr<Service>(
      new Service(settings->cluster, device.deviceId, {settings->deviceName, settings->deviceType}));
  g_service = service.release();
  RegisterEnd();
  return g_service;
}

Service* Service::Running() {
  return g_service;
}

void Service::EndRunning() noexcept {
  Guard([] {
    if (Service* service = Running()) service->End();
  });
}

Service::Service(ClusterSettings settings, std::string device, Sync::DeviceDescription description)
    : settings_(std::move(settings)),
      device_(std::move(device)),
      description_(std::move(description)),
      process_(getpid()),
      contact_(settings_.deathAfter) {
  worker_.Post([this] { Start(); });
}

void Service::Start() {
  trouble_ = "the service can't be started";
  const Status status = Guard([this] {
    OpenHub();
    return hub_ == nullptr ? Status::ERROR : Status::SUCCESS;
  });
  if (status == Status::SUCCESS) return;
  __android_log_print(KORA_LOG_ERROR, kLogTag, "nothing is synchronised: %s", trouble_.c_str());
  presence_.reset();
  hub_.reset();
  OnContact(trouble_);
}

void Service::OpenHub() {
  hub_ = Etcd::OpenHub(
      settings_, [this](std::function<void()> function) { worker_.Post(std::move(function)); }, trouble_);
  RegisterEnd();
  if (hub_ == nullptr) {
    // The loader's text may name any folder.
    trouble_ = ToModifiedUtf8(trouble_).value_or("the library for etcd can't be loaded");
    return;
  }
  Sync::PresenceOptions options;
  options.nameSpace = settings_.nameSpace;
  options.device = device_;
  options.description = description_;
  options.lease = static_cast<Sync::Moment>(settings_.leaseTime.count());
  presence_ = std::make_unique<Sync::Presence>(
      *hub_, worker_.Timers(), std::move(options),
      [](const std::string& device, const Sync::DeviceDescription& described, bool online) {
        // Whoever reaches the hub may write there; what is no identifier must not come to Java.
        if (IsIdentifier(device)) OtherDevices::Instance().Set(ToDevice(device, described), online);
      },
      [this](Sync::HubResult result) {
        OnContact(result == Sync::HubResult::kDone ? "" : NameOf(Sync::ToResult(result)));
      });
  trouble_ = "the hub has not answered yet";
  presence_->Start();
}

void Service::OnContact(std::string trouble) {
  trouble_ = std::move(trouble);
  contact_.Take(trouble_.empty(), worker_.Timers());
  for (auto& [store, seat] : seats_) {
    for (const auto& request : std::exchange(seat.early, {})) Pass(seat, request);
  }
}

void Service::Open(const std::string& application, const std::shared_ptr<Store>& store, bool continuous) {
  worker_.Post([this, application, store, continuous] {
    Seat& seat = seats_[store.get()];
    seat.application = application;
    seat.store = store;
    if (!continuous) return;
    SyncOutcome failure;
    if (Member* member = MemberOf(seat, failure)) member->GoContinuous();
  });
}

// Null: there is no hub, or the store can't join.
Member* Service::MemberOf(Seat& seat, SyncOutcome& failure) {
  if (seat.member != nullptr) return seat.member.get();
  if (hub_ == nullptr) {
    failure = {Status::ERROR, trouble_};
    return nullptr;
  }
  const Surroundings around{worker_, *hub_, *presence_, settings_.nameSpace, device_};
  seat.member = Member::Enter(around, seat.application, seat.store, failure.status);
  if (seat.member == nullptr) {
    failure.reason = "the store can't take part";
    __android_log_print(KORA_LOG_ERROR, kLogTag, "store %s can't be synchronised: status %d",
                        seat.store->Id().c_str(), static_cast<int>(failure.status));
  }
  return seat.member.get();
}

Service::Seat* Service::SeatOf(const Store& store) {
  const auto found = seats_.find(&store);
  return found == seats_.end() ? nullptr : &found->second;
}

void Service::Close(const Store& store) noexcept {
  Guard([&] {
    try {
      worker_.Await([&] { seats_.erase(&store); });
    } catch (const std::future_error&) {
      // The service has ended, and with it what there was to close.
    }
  });
}

void Service::DropFailed() {
  worker_.Post([this] {
    for (auto& [store, seat] : seats_) {
      if (store->HasFailed()) seat.member.reset();
    }
  });
}

void Service::Synchronise(const Store& store, std::shared_ptr<SyncRequest> request) {
  worker_.Post([this, &store, request = std::move(request)] {
    Seat* seat = SeatOf(store);
    if (seat == nullptr) return request->End(Status::STORE_NOT_OPEN, "closed");
    if (contact_.IsKnown()) return Pass(*seat, request);
    seat->early.push_back(request);
  });
}

void Service::Pass(Seat& seat, const std::shared_ptr<SyncRequest>& request) {
  SyncOutcome failure;
  Member* member = MemberOf(seat, failure);
  if (member == nullptr) return request->End(failure.status, failure.reason.c_str());
  member->Synchronise(request);
}

Status Service::RemoveDeviceData(const Store& store, const std::string& device) {
  return worker_.Await([&] {
    const Seat* seat = SeatOf(store);
    if (seat == nullptr) return Status::STORE_NOT_OPEN;
    return seat->member ? seat->member->RemoveDeviceData(device) : ForgetDevice(seat->store, device_, device);
  });
}

void Service::TakeRules(const Store& store) {
  worker_.Post([this, &store] {
    const Seat* seat = SeatOf(store);
    if (seat != nullptr && seat->member) seat->member->TakeRules();
  });
}

std::string Service::Trouble() {
  return worker_.Await([this] { return trouble_; });
}

// A request for each of the three steps by which a device gets to know the others, and one that failed.
void Service::AwaitDevices() {
  contact_.AwaitFirst(4 * settings_.timeout);
}

// The hub's end may have to wait for the answer to one request.
void Service::End() {
  // The worker did not come along into a copy of the process by fork.
  if (getpid() != process_ || std::exchange(ending_, true)) return;
  constexpr auto kPatience = std::chrono::seconds(4);
  const auto close = [this] {
    seats_.clear();
    if (presence_) presence_->Close();
    presence_.reset();
    hub_.reset();
  };
  worker_.End(close, std::chrono::steady_clock::now() + settings_.timeout + kPatience);
}

}  // namespace KORA::DistributedKv::Client::Cluster
