// A hub in memory, and the lines over which devices reach it.
#pragma once

#include <algorithm>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "random.h"
#include "schedule.h"
#include "sync/hub.h"

namespace KORA::DistributedKv::Client::Sync {

// The service itself: what is applied, and in which order.
class SimHub {
 public:
  // What takes the place of a value; null: it was deleted.
  using Replaced =
      std::function<void(const std::string& key, const std::string& before, const std::string* after)>;

  explicit SimHub(Schedule& schedule) : schedule_(schedule) {}

  RangeAnswer Range(const RangeRequest& request) const;
  RangeAnswer Get(const std::vector<std::string>& keys) const;
  TransactionAnswer Commit(const Transaction& transaction);
  // Whole revisions from `from` on below `end`, at most `limit` of them. Nothing: compacted.
  std::optional<std::vector<HubEvent>> Events(const std::string& begin, const std::string& end, Revision from,
                                              size_t limit) const;
  Hub::LeaseAnswer Grant(Moment milliseconds);
  Hub::LeaseAnswer Keep(LeaseId lease);
  void Revoke(LeaseId lease);
  size_t Leases() const { return leases_.size(); }

  Revision Newest() const { return data_.newest; }
  void Compact(Revision upTo);
  void Backup() { backup_ = data_; }
  // To the last backup. Watches end, and what is on its way here is lost.
  void Restore();
  void SetFull(bool full) { full_ = full; }

  uint64_t Epoch() const { return epoch_; }
  void OnChange(std::function<void()> changed) { changed_.push_back(std::move(changed)); }
  void OnReplace(Replaced replaced) { replaced_ = std::move(replaced); }

 private:
  struct Cell {
    Revision revision = 0;
    std::optional<std::string> value;
  };
  struct Lease {
    Moment milliseconds = 0;
    Moment ends = 0;
    std::set<std::string> keys;
  };
  struct Data {
    Revision newest = 1;
    Revision compacted = 0;
    std::map<std::string, std::vector<Cell>> cells;
    std::map<Revision, std::vector<HubEvent>> log;
  };

  const Cell* Find(const std::string& key, Revision revision) const;
  Revision ModifiedOf(const std::string& key) const;
  void Apply(const std::vector<Operation>& operations);
  void Expire(LeaseId lease);

  Schedule& schedule_;
  Data data_;
  Data backup_;
  std::map<LeaseId, Lease> leases_;
  LeaseId lastLease_ = 0;
  uint64_t epoch_ = 0;
  bool full_ = false;
  std::vector<std::function<void()>> changed_;
  Replaced replaced_;
};

// How bad a line is.
struct LineFaults {
  uint64_t lossPercent = 0;     // of requests, and of answers
  uint64_t repeatPercent = 0;   // of deliveries of a watch
  uint64_t cutPercent = 0;      // likewise
  Moment delay = 20;            // milliseconds at most, each way
  size_t maxAnswer = SIZE_MAX;  // bytes of entries; a larger one takes too long
};

// One device's way to the hub. The process that uses it may end: then nothing is answered any more.
class SimLine : public Hub {
 public:
  SimLine(SimHub& hub, Schedule& schedule, Random& random);

  LineFaults& Faults() { return faults_; }
  void SetUp(bool up) { up_ = up; }
  bool IsUp() const { return up_; }
  void EndProcess() { ++process_; }

  void Range(const RangeRequest& request, Then<RangeAnswer> then) override;
  void Get(const std::vector<std::string>& keys, Then<RangeAnswer> then) override;
  void Commit(Transaction transaction, Then<TransactionAnswer> then) override;
  std::unique_ptr<Watch> StartWatch(const std::string& begin, const std::string& end, Revision from,
                                    WatchListener& listener) override;
  void GrantLease(uint64_t milliseconds, Then<LeaseAnswer> then) override;
  void KeepLease(LeaseId lease, Then<LeaseAnswer> then) override;
  void RevokeLease(LeaseId lease) override;

 private:
  struct Stream;
  class SimWatch;

  template <typename Answer>
  void Ask(bool writes, std::function<Answer()> serve, Then<Answer> then);
  RangeAnswer InTime(const RangeAnswer& answer) const;
  void Pump(const std::weak_ptr<Stream>& weak);
  void SchedulePump(const std::shared_ptr<Stream>& stream);
  void EndStream(Stream& stream, HubResult reason);
  Moment Delay() { return random_.Between(1, faults_.delay); }

  SimHub& hub_;
  Schedule& schedule_;
  Random& random_;
  LineFaults faults_;
  bool up_ = true;
  uint64_t process_ = 0;
  std::vector<std::weak_ptr<Stream>> streams_;
};

}  // namespace KORA::DistributedKv::Client::Sync
