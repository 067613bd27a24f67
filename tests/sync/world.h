// One simulated run: devices, a hub, mishaps, and at the end the question whether all is as it must be.
#pragma once

#include <deque>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "device_replica.h"
#include "random.h"
#include "schedule.h"
#include "sim_hub.h"
#include "sync/directory.h"
#include "sync/store_sync.h"

namespace KORA::DistributedKv::Client::Sync {

// What a run is exposed to, besides lines that lose, delay, repeat and break, crashes, wrong clocks and a hub
// that compacts. Follows from the seed.
struct Mishaps {
  bool restores = false;      // the hub goes back to a backup
  bool longAbsences = false;  // devices are away for longer than tombstones live
  bool removals = false;      // RemoveDeviceData
  bool littleRoom = false;    // few of the hub's events may wait
};

class World {
 public:
  World(uint64_t seed, const MakeReplica& makeReplica);
  ~World();
  World(const World&) = delete;
  World& operator=(const World&) = delete;

  // Nothing: all is well. Else what is wrong.
  std::optional<std::string> Run();
  const std::deque<std::string>& Events() const { return events_; }  // the last ones
  // How many deletes gave way to a write that had never reached the hub while their tombstones lived.
  size_t Excused() const { return excused_.size(); }

 private:
  struct Device;
  struct Op {
    Content content;
    bool lost = false;  // by a crash of the device that wrote it
  };
  struct Process;

  void Note(const std::string& line);
  void Fail(const std::string& what);
  void RunUntil(Moment end);
  void StepTo(Moment now);

  void StartProcess(Device& device);
  void EndProcess(Device& device);
  void Act();
  void Write(Device& device);
  void ChangeRules(Device& device);
  std::vector<DeviceReplica::Change> DrawChanges();
  void CallSync(Device& device, Moment timeout, bool mustSucceed);
  void MakeDurable(Device& device);
  void Crash(Device& device);
  void Leave(Device& device);
  void Mend(Device& device);
  void TroubleHub();
  void RemoveData(Device& device);
  Moment DrawPause();
  void Heal();

  void CheckReplaced(const std::string& hubKey, const std::string& before, const std::string* after);
  void NotePurge(const std::string& key, const HubRecord& last);
  void CheckGroup(const Device& device);
  void CheckKept(const Device& device);
  void CheckEqual();
  void CheckWinners();
  void CheckWinner(const std::string& key, const std::vector<Op>& ops);
  void CheckCalls();
  std::map<std::string, HubRecord> HubRecords() const;
  Device& AnyDevice();

  Random random_;
  Mishaps mishaps_;
  Schedule schedule_;
  SimHub hub_;
  std::vector<std::unique_ptr<Device>> devices_;
  std::map<std::string, std::vector<Op>> ops_;      // by key
  std::set<std::string> excused_;                   // keys
  std::map<std::string, HubRecord> ended_;          // tombstones; the last of each key
  std::map<uint64_t, std::set<std::string>> open_;  // calls and the devices that they asked for
  uint64_t lastCall_ = 0;
  uint64_t lastValue_ = 0;
  std::deque<std::string> events_;
  std::optional<std::string> failure_;
};

}  // namespace KORA::DistributedKv::Client::Sync
