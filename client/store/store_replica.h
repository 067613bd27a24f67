// A store as the synchronisation sees it: its records, and beside them what a joined store keeps.
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "store/deleted_records.h"
#include "store/device_numbers.h"
#include "store/hybrid_clock.h"
#include "store/store.h"
#include "sync/replica.h"

namespace KORA::DistributedKv::Client {

// Keeps the promises of Sync::Replica. All calls come from one thread, while others may use the store. Calls
// answer DB_ERROR once the store's engine has failed for good, STORE_NOT_OPEN once the store is closed or the
// process is ending; nothing throws.
//
// An open transaction of the program does not keep anything out: what is merged goes beneath it. The
// transaction's writes count as made at its commit, so they are newer than all that was merged before.
class StoreReplica : public Sync::Replica {
 public:
  // Has the store join, and reads what it keeps for synchronisation. SUCCESS; READ_ONLY: such a store does
  // not take part; DB_ERROR: it can't be read or written, or is damaged.
  static Status Open(std::shared_ptr<Store> store, std::unique_ptr<StoreReplica>& replica);

  std::optional<Version> NextVersion() override;
  std::string State() override { return state_; }
  Status Read(const std::string& key, Sync::Content& content) override;
  Status ReadIf(const std::string& key, const Sync::Stamp& stamp, Sync::Content& content) override;
  Status Scan(const std::string& after, const std::string& last, size_t limit,
              std::vector<Sync::Held>& held) override;
  Status Tombstones(Version before, const std::string& after, size_t limit,
                    std::vector<Sync::Held>& held) override;
  Status Log(Sync::LogPosition after, size_t limit, std::vector<Sync::LogEntry>& entries) override;
  Sync::LogPosition LogEnd() override;
  Status CutLog(Sync::LogPosition upTo, const std::string& state) override;
  bool HasRoom() override;
  Status Merge(const Sync::Group& group) override;
  Status Forget(const std::string& device, const std::string& state) override;

 private:
  class Merging;

  explicit StoreReplica(std::shared_ptr<Store> store) : store_(std::move(store)) {}

  template <typename Use>
  Status Call(Use use) const noexcept;
  Status Load(const Store& store);
  Status ReadVersion(const std::string& key, std::optional<Version> only, Sync::Content& content);
  Status AddHeld(const Cursor& cursor, bool deleted, std::vector<Sync::Held>& held) const;
  Status Sweep(Store& store, Sync::LogPosition upTo, const std::function<void(Batch&)>& fill);
  Status DropAll(const View& view, Bytes space, const DeletedRecords::Filter& isMeant, Batch& batch) const;
  Status Damaged() const;

  const std::shared_ptr<Store> store_;
  DeviceNumbers devices_;
  std::string state_;
  Sync::LogPosition cut_ = 0;    // entries up to here are none any more
  Sync::LogPosition swept_ = 0;  // and up to here they are gone from the engine
};

}  // namespace KORA::DistributedKv::Client
