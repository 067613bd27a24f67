// The hub's operations as calls to etcd.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "etcd/connection.h"
#include "sync/hub.h"

namespace KORA::DistributedKv::Client::Etcd {

class EtcdHub final : public Sync::Hub {
 public:
  EtcdHub(const ClusterSettings& settings, Post post) : connection_(settings, std::move(post)) {}

  void Range(const Sync::RangeRequest& request, Then<Sync::RangeAnswer> then) override;
  void Get(const std::vector<std::string>& keys, Then<Sync::RangeAnswer> then) override;
  void Commit(Sync::Transaction transaction, Then<Sync::TransactionAnswer> then) override;
  std::unique_ptr<Sync::Watch> StartWatch(const std::string& begin, const std::string& end,
                                          Sync::Revision from, Sync::WatchListener& listener) override;
  void GrantLease(uint64_t milliseconds, Then<LeaseAnswer> then) override;
  void KeepLease(Sync::LeaseId lease, Then<LeaseAnswer> then) override;
  void RevokeLease(Sync::LeaseId lease) override;

 private:
  void Adapt(const grpc::Status& status, size_t asked, bool filled);

  // Entries on a page of a range: fewer after one that did not come in time, for the way to the hub may be
  // slow. More again in small steps, and only where a page had as many: so few fail.
  static constexpr size_t kMaxPage = 1024;
  size_t page_ = kMaxPage;
  Connection connection_;  // ends first
};

}  // namespace KORA::DistributedKv::Client::Etcd
