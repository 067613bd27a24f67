// cluster_faults [--rounds N] [--seed S]: three devices write at random, to keys of their own and to common
// ones, while devices and members of a hub of three are killed and stopped at random. After each round all is
// well again: then the devices must come to hold the same, and of its own keys what each has acknowledged.
#include <cstdio>
#include <cstring>
#include <optional>
#include <random>
#include <set>
#include <sstream>
#include <thread>

#include <csignal>

#include "device_process.h"
#include "server.h"

namespace KORA::DistributedKv::Client::Cluster {
namespace {

using std::chrono::milliseconds;

constexpr int kDevices = 3;
constexpr int kMembers = 3;
constexpr int kSteps = 150;
constexpr int kKeys = 8;  // of each device, and common ones
constexpr milliseconds kConvergence(90'000);

using Records = std::map<std::string, std::string>;

Records ToRecords(const std::string& list) {
  Records records;
  std::istringstream stream(list);
  for (std::string word; stream >> word;) {
    const size_t equal = word.find('=');
    records[word.substr(0, equal)] = word.substr(equal + 1);
  }
  return records;
}

class Faults {
 public:
  explicit Faults(uint64_t seed) : random_(seed) {
    std::string endpoints;
    for (const std::string& endpoint : servers_.Endpoints()) {
      endpoints += (endpoints.empty() ? "" : ",") + endpoint;
    }
    for (int i = 0; i < kDevices; ++i) {
      devices_.push_back(std::make_unique<DeviceProcess>(
          "device" + std::to_string(i), folder_.Path(),
          DeviceProcess::Settings{{"cluster.endpoints", endpoints}, {"cluster.lease", "2000"}}));
      Open(i);
    }
  }

  bool RunRound(int round) {
    if (round == 1) LoseLeader();
    for (int step = 0; step < kSteps; ++step) {
      DoSomething();
      std::this_thread::sleep_for(milliseconds(Below(20)));
    }
    Mend();
    const auto mended = std::chrono::steady_clock::now();
    const bool same = Becomes([this] { return IsSame(); }, kConvergence);
    const auto took = std::chrono::steady_clock::now() - mended;
    std::printf("round %d: %d writes, %d faults so far; equal after %lld ms\n", round, writes_, faults_,
                static_cast<long long>(std::chrono::duration_cast<milliseconds>(took).count()));
    std::fflush(stdout);
    return Holds(same, "the devices differ") && IsKept();
  }

 private:
  // What a key of one device's own may hold: nothing, or these values; an empty one stands for a deletion.
  using Allowed = std::set<std::string>;

  int Below(int bound) { return static_cast<int>(random_() % static_cast<uint64_t>(bound)); }
  void Open(int device) { devices_[device]->Ask("open auto 0"); }

  void DoSomething() {
    const int device = Below(kDevices);
    const int member = Below(kMembers);
    switch (Below(20)) {
      case 0:
        return KillWhileItWrites(device);
      case 1:
        return Stop(device);
      case 2:
        ++faults_;
        stoppedMembers_.count(member) ? Resume(member) : (servers_.Kill(member), servers_.Start(member));
        return;
      case 3:
        ++faults_;
        if (stoppedMembers_.insert(member).second) servers_.Pause(member);
        return;
      case 4:
        return Resume(member);
      default:
        return Write(device);
    }
  }

  // For longer than the others take to elect another one.
  void LoseLeader() {
    ++faults_;
    const size_t leader = servers_.Leader();
    servers_.Kill(leader);
    for (int i = 0; i < 30; ++i) {
      Write(Below(kDevices));
      std::this_thread::sleep_for(milliseconds(100));
    }
    servers_.Start(leader);
  }

  void Resume(int member) {
    if (stoppedMembers_.erase(member) > 0) servers_.Resume(member);
  }

  struct Change {
    std::string key;
    std::string value;  // empty: deleted
    std::string Command() const { return "change " + key + (value.empty() ? "" : '=' + value); }
  };
  Change NewChange(int device) {
    const std::string owner = Below(2) == 0 ? "common" : std::to_string(device);
    const std::string value = Below(5) == 0 ? "" : std::to_string(++writes_);
    return {owner + '/' + std::to_string(Below(kKeys)), value};
  }

  void Write(int device) {
    if (stopped_.count(device) > 0) return;
    const Change change = NewChange(device);
    if (devices_[device]->Ask(change.Command()) == "0") allowed_[change.key] = {change.value};
  }

  void KillWhileItWrites(int device) {
    ++faults_;
    const Change change = NewChange(device);
    if (stopped_.erase(device) == 0) {
      devices_[device]->Send(change.Command());
      auto [allowed, added] = allowed_.try_emplace(change.key);
      if (added) allowed->second.insert("");
      allowed->second.insert(change.value);
    }
    devices_[device]->Kill();
    devices_[device]->Start();
    Open(device);
  }

  void Stop(int device) {
    ++faults_;
    const bool stopped = stopped_.insert(device).second;
    if (!stopped) stopped_.erase(device);
    devices_[device]->Signal(stopped ? SIGSTOP : SIGCONT);
  }

  void Mend() {
    for (int member = 0; member < kMembers; ++member) Resume(member);
    for (const int device : stopped_) devices_[device]->Signal(SIGCONT);
    stopped_.clear();
  }

  bool IsSame() {
    const std::string first = devices_[0]->Ask("list");
    for (int i = 1; i < kDevices; ++i) {
      if (devices_[i]->Ask("list") != first) return false;
    }
    // Equal by chance, before what was written has crossed?
    return KeptIn(ToRecords(first)).empty();
  }

  // The first key of one device's own that does not hold what it must.
  std::string KeptIn(const Records& records) const {
    for (const auto& [key, allowed] : allowed_) {
      const auto found = records.find(key);
      const std::string value = found == records.end() ? "" : found->second;
      if (key.rfind("common", 0) != 0 && allowed.count(value) == 0) return key + '=' + value;
    }
    return {};
  }

  bool IsKept() {
    const std::string lost = KeptIn(ToRecords(devices_[0]->Ask("list")));
    return Holds(lost.empty(), "an acknowledged write is lost: " + lost);
  }

  bool Holds(bool condition, const std::string& complaint) {
    if (condition) return true;
    std::printf("%s\n", complaint.c_str());
    for (const auto& device : devices_) std::printf("  %s\n", device->Ask("list").c_str());
    return false;
  }

  std::mt19937_64 random_;
  Etcd::Servers servers_{{kMembers}};
  Etcd::TemporaryFolder folder_;
  std::vector<std::unique_ptr<DeviceProcess>> devices_;
  std::set<int> stopped_;
  std::set<int> stoppedMembers_;
  std::map<std::string, Allowed> allowed_;
  int writes_ = 0;
  int faults_ = 0;
};

uint64_t ArgumentOf(int argc, char** argv, const char* name, uint64_t otherwise) {
  for (int i = 1; i + 1 < argc; ++i) {
    if (std::strcmp(argv[i], name) == 0) return std::strtoull(argv[i + 1], nullptr, 10);
  }
  return otherwise;
}

}  // namespace
}  // namespace KORA::DistributedKv::Client::Cluster

int main(int argc, char** argv) {
  using namespace KORA::DistributedKv::Client::Cluster;
  const uint64_t seed = ArgumentOf(argc, argv, "--seed", 1);
  const auto rounds = static_cast<int>(ArgumentOf(argc, argv, "--rounds", 2));
  Faults faults(seed);
  for (int round = 1; round <= rounds; ++round) {
    if (!faults.RunRound(round)) return 1;
  }
  std::printf("%d rounds, seed %llu: no divergence, no acknowledged write lost\n", rounds,
              static_cast<unsigned long long>(seed));
  return 0;
}
