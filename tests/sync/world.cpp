#include "world.h"

#include <algorithm>
#include <limits>
#include <sstream>

namespace KORA::DistributedKv::Client::Sync {

namespace {

constexpr Moment kSecond = 1000;
constexpr Moment kMinute = 60 * kSecond;
constexpr Moment kHour = 60 * kMinute;
constexpr Moment kStart = 1'700'000'000'000;  // of the simulated time of day
constexpr Moment kTombstoneLife = 24 * kHour;
constexpr Moment kClockError = 6 * kHour;
constexpr size_t kKeptEvents = 60;
const std::string kRoot = "test/app/store/";
const std::vector<std::string> kGroup = {"g0", "g1", "g2"};  // always written together

std::string ToText(const Stamp& stamp) {
  return std::to_string(stamp.version >> kVersionCounterBits) + "." + std::to_string(stamp.version & 0xffff) +
         "@" + stamp.device;
}

// What a replica holds, tombstones too.
std::map<std::string, Content> RecordsOf(Replica& replica) {
  std::map<std::string, Content> records;
  std::vector<Held> page;
  for (std::string after; replica.Scan(after, "", 100, page) == Status::SUCCESS && !page.empty();
       page.clear()) {
    for (const Held& held : page) replica.Read(held.key, records[held.key]);
    after = page.back().key;
  }
  return records;
}

// The stamp of the first change of the key in the log.
std::optional<Stamp> LoggedIn(Replica& replica, const std::string& key) {
  std::vector<LogEntry> entries;
  replica.Log(0, std::numeric_limits<size_t>::max(), entries);
  const auto found = std::find_if(entries.begin(), entries.end(),
                                  [&key](const LogEntry& entry) { return entry.key == key; });
  return found == entries.end() ? std::nullopt : std::optional(found->stamp);
}

std::string ToText(const Content& content) {
  return ToText(content.stamp) + (content.deleted ? " deleted" : " =" + content.value.substr(0, 12));
}

}  // namespace

// A store's synchronisation as long as its process lives.
struct World::Process : public Directory {
  Process(World& world, Device& device);

  Whereabouts Find(const std::string& name) const override;

  World& world;
  Timers timers;
  StoreSync sync;
  std::set<uint64_t> calls;  // not answered yet
};

struct World::Device {
  Device(World& world, size_t number, bool isContinuous, const MakeReplica& makeReplica)
      : name("device" + std::to_string(number)),
        continuous(isContinuous),
        skew(static_cast<int64_t>(world.random_.Below(2 * kHour)) - static_cast<int64_t>(kHour)),
        replica(makeReplica(
            name, [this, &world] { return kStart + world.schedule_.Now() + static_cast<uint64_t>(skew); })),
        line(world.hub_, world.schedule_, world.random_) {}

  const std::string name;
  bool continuous;
  int64_t skew;  // milliseconds by which the clock is wrong
  const std::unique_ptr<DeviceReplica> replica;
  SimLine line;
  std::unique_ptr<Process> process;
  std::vector<Op*> undurable;                            // what a crash would take
  std::optional<std::pair<std::string, Stamp>> written;  // last: a key, and the write
};

World::Process::Process(World& owner, Device& device)
    : world(owner), sync(device.line, *device.replica, timers, *this, [&device, &owner] {
        StoreSyncOptions options;
        options.root = kRoot;
        options.device = device.name;
        options.continuous = device.continuous;
        options.tombstoneLife = kTombstoneLife;
        options.clockError = kClockError;
        options.upkeepEvery = 2 * kHour;
        if (owner.mishaps_.littleRoom) options.maxWaiting = 1000;
        if (owner.mishaps_.littleRoom) options.scanAtOnce = 8;
        options.fenceEvery = owner.mishaps_.longAbsences ? kHour / 2 : kMinute;
        return options;
      }()) {
  timers.Advance(owner.schedule_.Now());
}

Whereabouts World::Process::Find(const std::string& name) const {
  for (const auto& device : world.devices_) {
    if (device->name == name) return device->process ? Whereabouts::kOnline : Whereabouts::kOffline;
  }
  return Whereabouts::kUnknown;
}

World::World(uint64_t seed, const MakeReplica& makeReplica) : random_(seed), hub_(schedule_) {
  mishaps_.restores = seed % 4 == 1 || seed % 4 == 3;
  mishaps_.longAbsences = seed % 4 == 2 || seed % 4 == 3;
  mishaps_.removals = seed % 4 == 3;
  mishaps_.littleRoom = seed % 5 == 0;
  hub_.OnReplace([this](const std::string& key, const std::string& before, const std::string* after) {
    CheckReplaced(key, before, after);
  });
  hub_.Backup();
  const size_t count = random_.Between(2, 5);
  for (size_t i = 0; i < count; ++i)
    devices_.push_back(std::make_unique<Device>(*this, i, random_.Percent(75), makeReplica));
}

World::~World() = default;

void World::Note(const std::string& line) {
  events_.push_back(std::to_string(schedule_.Now()) + " ms: " + line);
  if (events_.size() > kKeptEvents) events_.pop_front();
}

void World::Fail(const std::string& what) {
  if (!failure_) Note("fails: " + what);
  if (!failure_) failure_ = what;
}

std::optional<std::string> World::Run() {
  for (const auto& device : devices_) {
    device->line.Faults() = {random_.Below(8), random_.Below(20), random_.Below(6), random_.Between(2, 200)};
    StartProcess(*device);
  }
  for (uint64_t left = random_.Between(60, 250); left > 0; --left) {
    const Moment pause = DrawPause();
    RunUntil(schedule_.Now() + pause);
    for (const auto& device : devices_) CheckGroup(*device);
    // No disk is behind for long.
    if (pause > kMinute) {
      for (const auto& device : devices_) MakeDurable(*device);
    }
    Act();
  }
  Heal();
  CheckEqual();
  CheckWinners();
  CheckCalls();
  return failure_;
}

Moment World::DrawPause() {
  if (mishaps_.longAbsences && random_.Percent(4)) return random_.Between(kHour, 20 * kHour);
  return random_.Percent(80) ? random_.Between(0, 300) : random_.Between(300, 30 * kSecond);
}

void World::RunUntil(Moment end) {
  while (true) {
    Moment next = schedule_.Next();
    for (const auto& device : devices_) {
      if (!device->process) continue;
      if (const auto due = device->process->timers.Next())
        next = std::min(next, std::max(*due, schedule_.Now()));
    }
    if (next > end) return StepTo(end);
    StepTo(next);
  }
}

void World::StepTo(Moment now) {
  schedule_.Step(now);
  for (const auto& device : devices_) {
    if (device->process) device->process->timers.Advance(now);
    CheckKept(*device);
  }
}

void World::StartProcess(Device& device) {
  Note(device.name + " starts");
  device.process = std::make_unique<Process>(*this, device);
  if (device.process->sync.Start() != Status::SUCCESS) Fail(device.name + ": the state is damaged");
}

void World::EndProcess(Device& device) {
  device.line.EndProcess();
  if (!device.process) return;
  for (const uint64_t call : device.process->calls) open_.erase(call);
  device.process.reset();
}

World::Device& World::AnyDevice() {
  return *devices_[random_.Below(devices_.size())];
}

void World::Act() {
  Device& device = AnyDevice();
  const uint64_t chance = random_.Below(100);
  if (chance < 55) return Write(device);
  if (chance < 57) return ChangeRules(device);
  if (chance < 62) return CallSync(device, random_.Between(1, 20) * kSecond, false);
  if (chance < 72) return MakeDurable(device);
  if (chance < 76) return Crash(device);
  if (chance < 80) return Leave(device);
  if (chance < 92) return Mend(device);
  if (chance < 93) device.skew = static_cast<int64_t>(random_.Below(2 * kHour)) - static_cast<int64_t>(kHour);
  if (chance < 95 && mishaps_.removals) RemoveData(device);
  TroubleHub();
}

std::vector<DeviceReplica::Change> World::DrawChanges() {
  const auto value = [this] {
    const std::string text = "v" + std::to_string(++lastValue_);
    return random_.Percent(1) ? text + std::string(kInlineSize, 'x') : text;
  };
  const uint64_t kind = random_.Below(100);
  std::vector<DeviceReplica::Change> changes;
  if (kind < 20) {
    const std::string text = value();
    for (const std::string& key : kGroup) changes.emplace_back(key, text);
  } else if (kind < 21) {
    // More than a transaction takes.
    for (size_t i = 0; i < kMaxOperations + 40; ++i)
      changes.emplace_back("many" + std::to_string(i), value());
  } else {
    const std::string key = "k" + std::to_string(random_.Below(10));
    changes.emplace_back(key, kind < 45 ? std::nullopt : std::optional(value()));
  }
  return changes;
}

void World::Write(Device& device) {
  if (!device.process) return;
  const auto changes = DrawChanges();
  const Version version = device.replica->Write(changes);
  Note(device.name + " writes " + changes.front().first + " " + ToText(Stamp{version, device.name}) +
       (changes.front().second ? "" : " deleted"));
  for (const auto& [key, value] : changes) {
    std::vector<Op>& ops = ops_[key];
    ops.reserve(512);  // `undurable` points into it
    ops.push_back({{{version, device.name}, !value, value.value_or("")}, false});
    device.undurable.push_back(&ops.back());
  }
  device.written = {changes.front().first, {version, device.name}};
  device.process->sync.OnCommit();
}

// While something is pushed. The rules say the same in another way: so the replica is compared with the hub.
void World::ChangeRules(Device& device) {
  Write(device);
  RunUntil(schedule_.Now() + random_.Below(200));
  if (!device.process) return;
  AdmissionRules rules;
  rules.remote = {std::to_string(lastValue_)};
  Note(device.name + " has other rules");
  device.process->sync.SetRules(rules);
}

void World::CallSync(Device& device, Moment timeout, bool mustSucceed) {
  if (!device.process) return;
  std::vector<std::string> asked;
  for (const auto& other : devices_) {
    if (random_.Percent(60)) asked.push_back(other->name);
  }
  if (random_.Percent(10)) asked.emplace_back("nobody");
  if (!asked.empty() && random_.Percent(20)) asked.push_back(asked.front());
  const uint64_t call = ++lastCall_;
  open_[call] = {asked.begin(), asked.end()};
  device.process->calls.insert(call);
  const auto mode = static_cast<SyncMode>(random_.Below(3));
  const Moment delay = random_.Percent(50) ? 0 : random_.Below(3 * kSecond);
  device.process->sync.Sync(
      asked, mode, delay, timeout, [this, call, &device, mustSucceed](const SyncResults& results) {
        const auto node = open_.extract(call);
        if (node.empty())
          return Fail("call " + std::to_string(call) + " was answered twice, or after its process");
        device.process->calls.erase(call);
        std::set<std::string> named;
        for (const auto& [name, result] : results) {
          named.insert(name);
          SyncResult well = SyncResult::kDone;
          SyncResult never = SyncResult::kUnknownDevice;
          if (name == "nobody") std::swap(well, never);
          if (mustSucceed && result != well) {
            Fail(device.name + " is well, but a call answers: " + NameOf(result));
          }
          if (result == never) Fail("a wrong answer for " + name);
        }
        if (named != node.mapped())
          Fail("call " + std::to_string(call) + " names other devices than it was asked for");
      });
}

void World::MakeDurable(Device& device) {
  device.replica->MakeDurable();
  device.undurable.clear();
}

void World::Crash(Device& device) {
  Note(device.name + " crashes");
  EndProcess(device);
  device.replica->Crash();
  for (Op* op : device.undurable) op->lost = true;
  device.undurable.clear();
  device.written.reset();
}

// An orderly end, or a line that is cut.
void World::Leave(Device& device) {
  if (random_.Percent(50)) {
    Note(device.name + " loses its line");
    return device.line.SetUp(false);
  }
  Note(device.name + " ends");
  MakeDurable(device);
  if (device.process) device.process->sync.Close();
  if (device.process && !device.process->calls.empty()) Fail("a call was not answered at the close");
  EndProcess(device);
}

void World::Mend(Device& device) {
  if (!device.line.IsUp()) Note(device.name + " has its line again");
  device.line.SetUp(true);
  if (!device.process) StartProcess(device);
}

void World::TroubleHub() {
  const uint64_t chance = random_.Below(100);
  if (chance < 35) {
    hub_.Compact(hub_.Newest() - static_cast<Revision>(random_.Below(30)));
    Note("the hub compacts");
  } else if (chance < 55) {
    hub_.Backup();
    Note("the hub is backed up");
  } else if (chance < 70 && mishaps_.restores) {
    hub_.Restore();
    Note("the hub is restored, to revision " + std::to_string(hub_.Newest()));
  } else if (chance < 80) {
    hub_.SetFull(true);
    schedule_.After(random_.Below(kMinute), [this] { hub_.SetFull(false); });
  } else if (chance < 90) {
    DeviceReplica& replica = *AnyDevice().replica;
    replica.SetBroken(true);
    schedule_.After(random_.Below(kMinute), [&replica] { replica.SetBroken(false); });
  } else {
    DeviceReplica& replica = *AnyDevice().replica;
    replica.SetSlow(true);
    schedule_.After(random_.Below(kMinute), [&replica] { replica.SetSlow(false); });
  }
}

void World::RemoveData(Device& device) {
  Device& other = AnyDevice();
  if (!device.process || &other == &device) return;
  Note(device.name + " removes what " + other.name + " wrote");
  if (device.process->sync.RemoveDeviceData(other.name) != Status::SUCCESS) Fail("data could not be removed");
}

void World::Heal() {
  Note("all is mended");
  hub_.SetFull(false);
  for (const auto& device : devices_) {
    device->line.Faults() = {0, 10, 0, 20};
    device->replica->SetBroken(false);
    device->replica->SetSlow(false);
    Mend(*device);
  }
  // Until nobody has anything to say any more: what one brings in one round the others take in the next.
  Revision before = 0;
  for (int round = 0; round < 4 || (before != hub_.Newest() && round < 20); ++round) {
    before = hub_.Newest();
    for (const auto& device : devices_) {
      CallSync(*device, kMinute, round > 0);
      device->process->sync.Sync({}, SyncMode::kPushPull, 0, kHour, [](const auto&) {});
    }
    RunUntil(schedule_.Now() + 40 * kMinute);
  }
}

// A device writes only over what it has judged; so nothing gives way to something older. But what was removed
// on a device is not judged there.
void World::CheckReplaced(const std::string& hubKey, const std::string& before, const std::string* after) {
  const StoreKeys keys(kRoot);
  const auto key = After(keys.Records(), hubKey);
  const auto last = key ? ParseRecord(before) : std::nullopt;
  if (!last) return;
  if (!after) return NotePurge(*key, *last);
  const auto next = ParseRecord(*after);
  if (!mishaps_.removals && next && next->content.stamp < last->content.stamp)
    Fail("the hub's " + *key + " " + ToText(last->content) + " was replaced by " + ToText(next->content));
}

// A tombstone has ended. A device that has a write of this key still to push, and an older one, can't know of
// it if it has to be compared as a whole: then the write is kept.
void World::NotePurge(const std::string& key, const HubRecord& last) {
  if (!last.content.deleted) Fail("a record that is no tombstone was removed from the hub: " + key);
  Note("the tombstone of " + key + " ends");
  ended_[key] = last;
  for (const auto& device : devices_) {
    const std::optional<Stamp> logged = LoggedIn(*device->replica, key);
    if (logged && *logged < last.content.stamp) excused_.insert(key);
  }
}

std::map<std::string, HubRecord> World::HubRecords() const {
  const StoreKeys keys(kRoot);
  const KeyRange range = RangeOfPrefix(keys.Records());
  std::map<std::string, HubRecord> records;
  for (const HubEntry& entry : hub_.Range({range.begin, range.end}).entries) {
    records[*After(keys.Records(), entry.key)] = *ParseRecord(entry.value);
  }
  return records;
}

// What was committed together is seen together. A comparison goes key by key, and so does what it pushes
// back.
void World::CheckGroup(const Device& device) {
  if (mishaps_.restores || !device.process || !device.process->sync.IsInStep()) return;
  std::set<std::string> stamps;
  for (const std::string& key : kGroup) {
    Content content;
    const bool found = device.replica->Read(key, content) == Status::SUCCESS;
    stamps.insert(found ? ToText(content.stamp) : "");
  }
  if (stamps.size() > 1) Fail(device.name + " has seen half of a commit");
}

// What was written here stays until a newer write takes its place: as long as tombstones and the hub do.
void World::CheckKept(const Device& device) {
  if (!device.written || mishaps_.restores || mishaps_.longAbsences) return;
  const auto& [key, stamp] = *device.written;
  Content content;
  if (device.replica->Read(key, content) != Status::SUCCESS || content.stamp < stamp)
    Fail(device.name + " has dropped its own write of " + key);
}

// Every replica has what the hub has, and nothing else.
void World::CheckEqual() {
  const auto hub = HubRecords();
  for (const auto& device : devices_) {
    const auto state = ParseState(device->replica->State());
    const auto isRemoved = [&state](const HubRecord& record) {
      const auto peer = state->peers.find(record.content.stamp.device);
      return peer != state->peers.end() && record.content.stamp.version <= peer->second.removed;
    };
    const auto records = RecordsOf(*device->replica);
    for (const auto& [key, record] : hub) {
      const auto held = records.find(key);
      if (held == records.end() && isRemoved(record)) continue;
      if (held == records.end()) {
        Fail(device->name + " lacks " + key + ": " + ToText(record.content));
      } else if (held->second.stamp != record.content.stamp ||
                 held->second.deleted != record.content.deleted) {
        if (isRemoved(record)) continue;
        Fail(device->name + " has " + key + " " + ToText(held->second) + ", the hub " +
             ToText(record.content));
      }
    }
    for (const auto& [key, content] : records) {
      // Who does not take what a device had written does not hear of its deletes.
      const auto ended = ended_.find(key);
      const bool unheard = ended != ended_.end() && isRemoved(ended->second);
      if (hub.count(key) == 0 && !unheard)
        Fail(device->name + " has " + key + " " + ToText(content) + ", the hub nothing");
    }
    if (!device->process->sync.IsInStep() && device->continuous) Fail(device->name + " is not in step");
  }
}

void World::CheckWinners() {
  for (const auto& [key, ops] : ops_) CheckWinner(key, ops);
}

// The newest write of all that no crash took has won, or a newer one that a crash took, but not from the hub.
void World::CheckWinner(const std::string& key, const std::vector<Op>& ops) {
  const Op* expected = nullptr;
  const Op* newestDelete = nullptr;
  for (const Op& op : ops) {
    if (!op.lost && (!expected || expected->content.stamp < op.content.stamp)) expected = &op;
    const bool newer = !newestDelete || newestDelete->content.stamp < op.content.stamp;
    if (op.content.deleted && newer) newestDelete = &op;
  }
  const auto hub = HubRecords();
  const auto found = hub.find(key);
  if (found == hub.end() || found->second.content.deleted) {
    const bool deleted =
        !expected || (newestDelete && !(newestDelete->content.stamp < expected->content.stamp));
    if (!deleted && !(mishaps_.restores && mishaps_.longAbsences)) {
      Fail("lost: " + key + " " + ToText(expected->content));
    }
    return;
  }
  const Content& content = found->second.content;
  const bool written = std::any_of(ops.begin(), ops.end(), [&content](const Op& op) {
    return op.content.stamp == content.stamp && !op.content.deleted;
  });
  if (!written) return Fail("nobody wrote " + key + " " + ToText(content));
  if (!expected || !(content.stamp < expected->content.stamp)) return;
  if (excused_.count(key) > 0) return;
  if (mishaps_.restores && mishaps_.longAbsences) return;
  Fail(std::string(expected->content.deleted ? "resurrected: " : "lost: ") + key + " is " + ToText(content) +
       " instead of " + ToText(expected->content));
}

void World::CheckCalls() {
  if (!open_.empty()) Fail(std::to_string(open_.size()) + " calls were never answered");
}

}  // namespace KORA::DistributedKv::Client::Sync
