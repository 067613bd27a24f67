// One open store's part in the synchronisation.
#pragma once

#include <memory>
#include <string>

#include "cluster/sync_request.h"
#include "cluster/worker.h"
#include "store/store_replica.h"
#include "sync/store_sync.h"

namespace KORA::DistributedKv::Client::Cluster {

// What the members of a process share.
struct Surroundings {
  Worker& worker;
  Sync::Hub& hub;
  const Sync::Directory& directory;
  std::string nameSpace;
  std::string device;  // this one
};

// All calls, and the end, come on the worker. The end answers what is outstanding.
class Member {
 public:
  // Has the store join. Null: it can't; `status` says why.
  static std::unique_ptr<Member> Enter(const Surroundings& around, const std::string& application,
                                       std::shared_ptr<Store> store, Status& status);
  Member(const Member&) = delete;
  Member& operator=(const Member&) = delete;
  ~Member();

  // From now on synchronise without being asked.
  void GoContinuous() { sync_.GoContinuous(); }
  void Synchronise(const std::shared_ptr<SyncRequest>& request);
  Status RemoveDeviceData(const std::string& device) { return sync_.RemoveDeviceData(device); }
  // The store's labels have changed.
  void TakeRules();

 private:
  class Commits;

  Member(const Surroundings& around, const std::string& application, std::shared_ptr<Store> store,
         std::unique_ptr<StoreReplica> replica);

  SyncOutcomes ToOutcomes(const Sync::SyncResults& results) const;

  const std::shared_ptr<Store> store_;
  const std::unique_ptr<StoreReplica> replica_;
  Sync::Lifetime lifetime_;
  Sync::StoreSync sync_;
};

}  // namespace KORA::DistributedKv::Client::Cluster
