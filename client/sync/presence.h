// Who is there: each device keeps a leased entry on the hub, and watches those of the others.
#pragma once

#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "sync/directory.h"
#include "sync/hub.h"
#include "sync/lifetime.h"
#include "sync/timers.h"

namespace KORA::DistributedKv::Client::Sync {

struct DeviceDescription {
  std::string name;
  std::string type;

  bool operator==(const DeviceDescription& other) const { return name == other.name && type == other.type; }
};

struct PresenceOptions {
  std::string nameSpace;
  std::string device;  // this one
  DeviceDescription description;
  Moment lease = 10'000;  // milliseconds until a device that says nothing counts as offline
  // Milliseconds between attempts to reach the hub, growing from the first to the last.
  Moment firstBackoff = 500;
  Moment lastBackoff = 5'000;
  Moment lastBackoffIfRefused = 60'000;  // what an operator has to mend is not mended in a moment
};

// One for each process. All calls, the hub's answers and the timers come on one thread.
class Presence : public Directory, private WatchListener {
 public:
  // A device other than this one has come (true), has gone, or has come under another name or type.
  using Changed =
      std::function<void(const std::string& device, const DeviceDescription& description, bool online)>;
  // How it stands with the hub: kDone when it was reached and it is known who is online, else why an attempt
  // has failed, or why it was lost.
  using Contact = std::function<void(HubResult)>;

  Presence(
      Hub& hub, Timers& timers, PresenceOptions options, Changed changed,
      Contact contact = [](HubResult /*result*/) {});

  void Start();
  // The others see this device go at once, if the hub can be reached. Nobody is told of anything afterwards.
  void Close();

  // This device is always online. While the hub can't be reached the others stay as they were seen last, for
  // as long as a lease lasts; then all are offline.
  Whereabouts Find(const std::string& device) const override;
  // The others that are online.
  const std::map<std::string, DeviceDescription>& Online() const { return online_; }

 private:
  void OnStarted() override { backoff_ = 0; }
  void OnEvents(std::vector<HubEvent> events) override;
  void OnEnd(HubResult reason) override;

  void Connect();
  void NewLease();
  void Announce();
  void KeepLease();
  void Look();
  void TakeAll(const RangeAnswer& answer);
  void Set(const std::string& device, const DeviceDescription& description);
  void Remove(const std::string& device);
  void ComeBack();
  void Lose(HubResult reason);

  Hub& hub_;
  Timers& timers_;
  const PresenceOptions options_;
  const std::string prefix_;
  Changed changed_;
  Contact contact_;
  Lifetime lifetime_;  // of the connection
  Lifetime memory_;    // of what was seen before the hub was lost
  bool lost_ = false;
  Moment backoff_ = 0;
  LeaseId lease_ = 0;  // the last one
  std::unique_ptr<Watch> watch_;
  Revision seen_ = 0;
  std::map<std::string, DeviceDescription> online_;
  std::map<std::string, DeviceDescription> known_;  // those of this run; the ones online too
};

}  // namespace KORA::DistributedKv::Client::Sync
