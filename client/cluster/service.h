// Keeps the stores of this process in step with those of other devices, through the hub.
#pragma once

#include <sys/types.h>

#include <map>
#include <memory>
#include <string>
#include <vector>

#include "cluster/contact.h"
#include "cluster/member.h"
#include "cluster/sync_request.h"
#include "cluster/worker.h"
#include "common/cluster_settings.h"
#include "store/store.h"
#include "sync/presence.h"

namespace KORA::DistributedKv::Client::Cluster {

// One for each process that has a hub configured. Any thread but the worker may call. Nothing waits for the
// hub, unless it says so.
class Service {
 public:
  // Starts it at the first call. Null: no hub is configured, all may only be read, by the setting or by the
  // home's file system, or it can't be started.
  static Service* Find();
  // Null: it was not started.
  static Service* Running();
  // For the end of the process. Waits for it, but not for long, and only the first time.
  static void EndRunning() noexcept;

  // The store is open; only for one that may be written. `continuous`: it is synchronised without being
  // asked. To be called again when a further handle wants it to be.
  void Open(const std::string& application, const std::shared_ptr<Store>& store, bool continuous);
  // Ends its synchronisation: when this returns, nothing of it runs. Outstanding requests are answered.
  void Close(const Store& store) noexcept;
  // Has stores that have failed leave.
  void DropFailed();

  void Synchronise(const Store& store, std::shared_ptr<SyncRequest> request);
  // For a store that has joined; waits for the worker.
  Status RemoveDeviceData(const Store& store, const std::string& device);
  void TakeRules(const Store& store);

  // Waits until it is known which devices there are, or that the hub can't be reached.
  void AwaitDevices();
  // Why the hub is out of reach, as an English text, modified UTF-8; empty: it was reached. Waits for the
  // worker.
  std::string Trouble();

 private:
  struct Seat {
    std::string application;
    std::shared_ptr<Store> store;
    // Wait until it is known which devices there are: else all would be unknown.
    std::vector<std::shared_ptr<SyncRequest>> early;
    std::unique_ptr<Member> member;  // once it was wanted
  };

  Service(ClusterSettings settings, std::string device, Sync::DeviceDescription description);

  void Start();
  void OpenHub();
  void End();
  void OnContact(std::string trouble);
  void Pass(Seat& seat, const std::shared_ptr<SyncRequest>& request);
  Seat* SeatOf(const Store& store);
  Member* MemberOf(Seat& seat, SyncOutcome& failure);

  const ClusterSettings settings_;
  const std::string device_;  // this one
  const Sync::DeviceDescription description_;
  const pid_t process_;
  bool ending_ = false;  // of the thread that ends the process
  // The worker's.
  Contact contact_;
  std::string trouble_;  // why the hub is out of reach; empty: it was reached
  std::unique_ptr<Sync::Hub> hub_;
  std::unique_ptr<Sync::Presence> presence_;
  std::map<const Store*, Seat> seats_;
  Worker worker_;  // ends first
};

}  // namespace KORA::DistributedKv::Client::Cluster
