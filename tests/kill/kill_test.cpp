// kill_test [--rounds N] [--seed S] [--protected 1]
//
// Each round starts a child that writes to a store and acknowledges each operation over a pipe, kills it with
// SIGKILL at a random moment, opens the store again and compares it, record by record, with what the
// acknowledged operations make of an empty store. The one operation that may have been under way counts as a
// whole or not at all.
//
// --protected 1: the store is encrypted and backed up every second, so that backups are cut off too, has a
// schema with an index, which must find what the records say, and takes part in synchronisation: its log and
// tombstones must say so too.
//
// All operations follow from the seed and their number, so that both sides know them without telling each
// other.
#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <map>
#include <optional>
#include <random>
#include <set>
#include <string>
#include <thread>

#include "contract/distributed_kv_data_manager.h"
#include "manager/store_registry.h"
#include "replica_check.h"

extern char** environ;

using namespace KORA::DistributedKv;

namespace {

using Model = std::map<std::string, std::string>;
using Number = uint64_t;  // of an operation; the first is 1

bool g_protected = false;

[[noreturn]] void Fail(const std::string& what) {
  std::fprintf(stderr, "FAILED: %s\n", what.c_str());
  std::exit(1);
}

Blob ToBlob(const std::string& text) {
  return Blob(std::vector<uint8_t>(text.begin(), text.end()));
}

constexpr int kGroups = 7;
constexpr const char* kSchema =
    R"({"fields": [{"field": "group", "type": "int"}, {"field": "text", "type": "string"}], "indexes": ["group"]})";

// How the documents of a group begin: with the type of a text.
std::string HeadOfGroup(int group) {
  return "\x01{\"group\":" + std::to_string(group) + ",";
}

std::string ToValue(Number number, const std::string& text) {
  if (!g_protected) return text;
  return HeadOfGroup(static_cast<int>(number % kGroups)) + "\"text\":\"" + text + "\"}";
}

// One write of an operation; no value: a deletion.
struct Write {
  std::string key;
  std::optional<std::string> value;
};

enum class Kind { kPut, kDelete, kPutBatch, kDeleteBatch, kTransaction, kRolledBack };

struct Operation {
  Kind kind;
  std::vector<Write> writes;
};

// The operation of that number. Keys are few, so that many are overwritten and deleted again.
Operation OperationOf(uint64_t seed, Number number) {
  std::mt19937_64 random(seed * 1'000'003 + number);
  constexpr int kKeys = 700;
  constexpr Kind kKinds[] = {Kind::kPut,      Kind::kPut,         Kind::kPut,         Kind::kDelete,
                             Kind::kPutBatch, Kind::kDeleteBatch, Kind::kTransaction, Kind::kRolledBack};
  Operation operation{kKinds[random() % std::size(kKinds)], {}};
  const bool single = operation.kind == Kind::kPut || operation.kind == Kind::kDelete;
  const size_t count = single ? 1 : 2 + random() % 40;
  for (size_t i = 0; i < count; ++i) {
    Write write{"key" + std::to_string(random() % kKeys), std::nullopt};
    const bool deletes = operation.kind == Kind::kDelete || operation.kind == Kind::kDeleteBatch ||
                         (!single && operation.kind != Kind::kPutBatch && random() % 3 == 0);
    if (!deletes) {
      std::string text = std::to_string(number) + "/" + std::to_string(i) + "/";
      text.append(random() % 20 == 0 ? 60'000 : random() % 600, static_cast<char>('a' + random() % 26));
      write.value = ToValue(number, text);
    }
    operation.writes.push_back(std::move(write));
  }
  return operation;
}

void Apply(const Operation& operation, Model& model) {
  if (operation.kind == Kind::kRolledBack) return;
  for (const Write& write : operation.writes) {
    if (write.value) {
      model[write.key] = *write.value;
    } else {
      model.erase(write.key);
    }
  }
}

Status Do(const Write& write, SingleKvStore& store) {
  return write.value ? store.Put(ToBlob(write.key), ToBlob(*write.value)) : store.Delete(ToBlob(write.key));
}

Status DoTransaction(const Operation& operation, SingleKvStore& store) {
  Status status = store.StartTransaction();
  for (const Write& write : operation.writes) {
    if (status == Status::SUCCESS) status = Do(write, store);
  }
  if (status != Status::SUCCESS) return status;
  return operation.kind == Kind::kTransaction ? store.Commit() : store.Rollback();
}

Status DoBatch(const Operation& operation, SingleKvStore& store) {
  std::vector<Entry> entries;
  std::vector<Key> keys;
  for (const Write& write : operation.writes) {
    if (write.value) {
      entries.emplace_back(ToBlob(write.key), ToBlob(*write.value));
    } else {
      keys.push_back(ToBlob(write.key));
    }
  }
  return operation.kind == Kind::kPutBatch ? store.PutBatch(entries) : store.DeleteBatch(keys);
}

Status Do(const Operation& operation, SingleKvStore& store) {
  switch (operation.kind) {
    case Kind::kPut:
    case Kind::kDelete:
      return Do(operation.writes.front(), store);
    case Kind::kPutBatch:
    case Kind::kDeleteBatch:
      return DoBatch(operation, store);
    default:
      return DoTransaction(operation, store);
  }
}

const AppId kApp{"kill"};

std::unique_ptr<SingleKvStore> Open(DistributedKvDataManager& manager, const std::string& storeId) {
  Options options;
  options.createIfMissing = true;
  options.encrypt = options.backup = g_protected;
  if (g_protected && storeId == "store") options.schema = kSchema;
  std::unique_ptr<SingleKvStore> opened;
  manager.GetSingleKvStore(
      options, kApp, {storeId}, [&](Status status, std::unique_ptr<SingleKvStore> store) {
        if (status != Status::SUCCESS)
          Fail("cannot open " + storeId + ": " + std::to_string(static_cast<int>(status)));
        opened = std::move(store);
      });
  return opened;
}

// Shows `use` the store that is open.
template <typename Use>
void UseStore(Use use) {
  std::unique_ptr<Client::StoreLease> lease;
  Options options;
  options.encrypt = options.backup = g_protected;
  Status status = Client::StoreRegistry::Instance().Open({kApp.appId, "store"}, Client::StoreKind::kSingle,
                                                         options, lease);
  if (status == Status::SUCCESS) status = lease->Call(use);
  if (status != Status::SUCCESS) Fail("the store can't be used");
}

// The child: does operations from `first` on, until it is killed. Every now and then a run creates and
// deletes another store instead, so that these are cut off too.
int WriteUntilKilled(uint64_t seed, Number first, bool churns, int acknowledgements) {
  DistributedKvDataManager manager;
  while (churns) {
    Open(manager, "churn")->Put(ToBlob("k"), ToBlob("v"));
    if (manager.DeleteKvStore(kApp, {"churn"}) != Status::SUCCESS) Fail("cannot delete the store");
  }
  const std::unique_ptr<SingleKvStore> store = Open(manager, "store");
  for (Number number = first;; ++number) {
    if (Do(OperationOf(seed, number), *store) != Status::SUCCESS) Fail("operation " + std::to_string(number));
    if (write(acknowledgements, &number, sizeof number) != sizeof number) return 1;
  }
}

class KillTest {
 public:
  KillTest(int rounds, uint64_t seed) : rounds_(rounds), seed_(seed), random_(seed) {}

  void Run() {
    const auto start = std::chrono::steady_clock::now();
    if (g_protected) {
      const std::unique_ptr<SingleKvStore> store = Open(manager_, "store");
      UseStore([](Client::Store& opened) { return opened.Join(); });
    }
    for (round_ = 1; round_ <= rounds_; ++round_) {
      const bool churns = round_ % 10 == 0;
      const Number acknowledged = RunChild(churns);
      if (churns) {
        VerifyChurn();
      } else {
        Verify(acknowledged);
      }
    }
    const std::chrono::duration<double> seconds = std::chrono::steady_clock::now() - start;
    std::printf(
        "%d rounds with seed %llu in %.1f s: %llu operations acknowledged, none lost; %d of %d that were cut "
        "off took effect; %llu records compared; %d rounds killed before the first acknowledgement\n",
        rounds_, static_cast<unsigned long long>(seed_), seconds.count(),
        static_cast<unsigned long long>(acknowledged_), tookEffect_, rounds_ - rounds_ / 10,
        static_cast<unsigned long long>(compared_), early_);
  }

 private:
  // Starts a child, kills it, and returns the number of the last operation that it acknowledged.
  Number RunChild(bool churns) {
    int pipe_ends[2];
    if (pipe2(pipe_ends, O_CLOEXEC) != 0) Fail("pipe");
    const pid_t child = Start(churns, pipe_ends[1]);
    close(pipe_ends[1]);
    // Some rounds end while the store is being opened, most while it is written.
    const bool opening = round_ % 4 == 0;
    if (!opening && !churns) AwaitInput(pipe_ends[0]);
    std::this_thread::sleep_for(std::chrono::microseconds(random_() % (opening ? 30'000 : 150'000)));
    kill(child, SIGKILL);
    Number last = done_;
    for (Number number = 0; read(pipe_ends[0], &number, sizeof number) == sizeof number;) last = number;
    close(pipe_ends[0]);
    int status = 0;
    waitpid(child, &status, 0);
    if (!WIFSIGNALED(status)) Fail("the child ended by itself in round " + std::to_string(round_));
    return last;
  }

  static void AwaitInput(int file) {
    pollfd input{file, POLLIN, 0};
    constexpr int kMilliseconds = 60'000;
    if (poll(&input, 1, kMilliseconds) != 1) Fail("no acknowledgement");
  }

  pid_t Start(bool churns, int acknowledgements) const {
    constexpr int kPipe = 3;
    const std::string seed = std::to_string(seed_);
    const std::string first = std::to_string(done_ + 1);
    const char* arguments[] = {"kill_test",   "--child",          seed.c_str(),
                               first.c_str(), churns ? "1" : "0", g_protected ? "1" : "0",
                               nullptr};
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, acknowledgements, kPipe);
    pid_t child = 0;
    const int error =
        posix_spawn(&child, "/proc/self/exe", &actions, nullptr, const_cast<char**>(arguments), environ);
    posix_spawn_file_actions_destroy(&actions);
    if (error != 0) Fail("cannot start a child");
    return child;
  }

  void Verify(Number acknowledged) {
    for (Number number = done_ + 1; number <= acknowledged; ++number)
      Apply(OperationOf(seed_, number), model_);
    if (acknowledged == done_) ++early_;
    acknowledged_ += acknowledged - done_;
    Model with_next = model_;
    Apply(OperationOf(seed_, acknowledged + 1), with_next);

    const std::unique_ptr<SingleKvStore> store = Open(manager_, "store");
    const Model found = Read(*store);
    compared_ += found.size();
    const Number before = done_;
    done_ = acknowledged;
    if (found != model_) {
      if (found != with_next) Fail(Difference(found));
      model_ = with_next;
      ++done_;
      ++tookEffect_;
    }
    if (g_protected) VerifyReplica(before, model_ == with_next);
  }

  // `unseen`: that the operation after the last one took effect would show in the log alone.
  void VerifyReplica(Number before, bool unseen) {
    uint64_t commits = 0;
    for (Number number = before + 1; number <= done_; ++number) commits += Touch(number);
    UseStore([&](Client::Store& store) {
      if (unseen && replica_.CountCommits(store) > commits) commits += Touch(++done_);
      const std::string wrong = replica_.Check(store, model_, touched_, commits);
      if (!wrong.empty()) Fail("round " + std::to_string(round_) + ": " + wrong);
      return Status::SUCCESS;
    });
  }

  // How many commits the operation is.
  uint64_t Touch(Number number) {
    const Operation operation = OperationOf(seed_, number);
    if (operation.kind == Kind::kRolledBack) return 0;
    for (const Write& write : operation.writes) touched_.insert(write.key);
    return 1;
  }

  static Model Read(SingleKvStore& store) {
    std::vector<Entry> entries;
    if (store.GetEntries(Blob(), entries) != Status::SUCCESS) Fail("cannot read the store");
    const Model found = ToModel(entries);
    if (g_protected && ReadByIndex(store) != found) Fail("the index differs from the records");
    return found;
  }

  static Model ToModel(const std::vector<Entry>& entries) {
    Model model;
    for (const Entry& entry : entries) model.emplace(entry.key.ToString(), entry.value.ToString());
    return model;
  }

  static Model ReadByIndex(SingleKvStore& store) {
    Model all;
    for (int group = 0; group < kGroups; ++group) {
      std::vector<Entry> entries;
      const std::string query = R"({"where": {"field": "group", "eq": )" + std::to_string(group) + "}}";
      if (store.GetEntriesWithQuery(query, entries) != Status::SUCCESS) Fail("cannot query the store");
      for (const auto& [key, value] : ToModel(entries)) {
        if (value.rfind(HeadOfGroup(group), 0) != 0) Fail("the index found a document of another group");
        all.emplace(key, value);
      }
    }
    return all;
  }

  std::string Difference(const Model& found) const {
    std::string text = "round " + std::to_string(round_) + ", after operation " + std::to_string(done_) + ":";
    for (const auto& [key, value] : model_) {
      const auto other = found.find(key);
      if (other != found.end() && other->second == value) continue;
      text += "\n  " + key + ": expected " + value.substr(0, 20) + ", found " +
              (other == found.end() ? "nothing" : other->second.substr(0, 20));
    }
    return text + "\n  (" + std::to_string(found.size()) + " records found, " +
           std::to_string(model_.size()) + " expected)";
  }

  // Whatever the moment: the store is there whole or not at all, and nothing is left behind.
  void VerifyChurn() {
    Open(manager_, "churn")->Put(ToBlob("k"), ToBlob("v"));
    if (manager_.DeleteKvStore(kApp, {"churn"}) != Status::SUCCESS) Fail("cannot delete the store");
    const std::filesystem::path home = std::getenv("KORA_DATA_HOME");
    for (const auto& entry : std::filesystem::directory_iterator(home / kApp.appId)) {
      const auto name = entry.path().filename();
      if (name != "store" && (name != ".backups" || !g_protected))
        Fail("left behind: " + entry.path().string());
    }
  }

  const int rounds_;
  const uint64_t seed_;
  std::mt19937_64 random_;
  DistributedKvDataManager manager_;
  int round_ = 0;
  Model model_;  // what the store holds after the operations up to done_
  Number done_ = 0;
  std::set<std::string> touched_;  // keys that were ever written
  ReplicaCheck replica_;
  uint64_t acknowledged_ = 0;
  uint64_t compared_ = 0;
  int tookEffect_ = 0;
  int early_ = 0;
};

int RunRounds(int rounds, uint64_t seed) {
  std::string folder = (std::filesystem::temp_directory_path() / "kora-kill-XXXXXX").string();
  setenv("KORA_DATA_HOME", mkdtemp(folder.data()), 1);
  setenv("KORA_DATA_MEMORY_BUDGET", "8388608", 1);  // so that the engine flushes and compacts all the time
  setenv("KORA_DATA_BACKUP_INTERVAL", "1", 1);
  KillTest(rounds, seed).Run();
  std::filesystem::remove_all(folder);
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  const std::vector<std::string> arguments(argv + 1, argv + argc);
  if (arguments.size() == 5 && arguments[0] == "--child") {
    g_protected = arguments[4] == "1";
    return WriteUntilKilled(std::stoull(arguments[1]), std::stoull(arguments[2]), arguments[3] == "1", 3);
  }
  int rounds = 50;
  uint64_t seed = std::random_device()();
  for (size_t i = 0; i < arguments.size(); i += 2) {
    const bool known =
        arguments[i] == "--rounds" || arguments[i] == "--seed" || arguments[i] == "--protected";
    if (!known || i + 1 == arguments.size()) {
      std::fprintf(stderr, "usage: kill_test [--rounds N] [--seed S] [--protected 1]\n");
      return 2;
    }
    if (arguments[i] == "--protected") {
      g_protected = arguments[i + 1] == "1";
    } else if (arguments[i] == "--rounds") {
      rounds = std::stoi(arguments[i + 1]);
    } else {
      seed = std::stoull(arguments[i + 1]);
    }
  }
  return RunRounds(rounds, seed);
}
