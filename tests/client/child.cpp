// client_child MODE: does one thing in a process of its own, in the home that the environment names.
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <map>
#include <random>
#include <string>
#include <thread>

#include "contract/distributed_kv_data_manager.h"

using namespace KORA::DistributedKv;

namespace {

std::unique_ptr<SingleKvStore> g_store;  // ends after main, with the process

Status Open(const std::string& storeId = "store") {
  static DistributedKvDataManager manager;
  Options options;
  options.createIfMissing = true;
  Status opened = Status::ERROR;
  manager.GetSingleKvStore(options, {"app"}, {storeId},
                           [&](Status status, std::unique_ptr<SingleKvStore> store) {
                             opened = status;
                             g_store = std::move(store);
                           });
  return opened;
}

Blob Text(const std::string& text) {
  return Blob(text.c_str());
}

class SlowObserver : public KvStoreObserver {
 public:
  explicit SlowObserver(bool exits) : exits_(exits) {}
  void OnChange(const ChangeNotification& /*notification*/,
                std::unique_ptr<KvStoreSnapshot> /*snapshot*/) override {}
  void OnChange(const ChangeNotification& /*notification*/) override {
    if (exits_) std::exit(0);
    std::this_thread::sleep_for(std::chrono::milliseconds(2));
  }

 private:
  const bool exits_;
};

int PrintStatus() {
  std::printf("%d\n", static_cast<int>(Open()));
  return 0;
}

// Keeps the store open until it is killed.
int Hold() {
  Open();
  g_store->Put(Text("held"), Text("value"));
  g_store->StartTransaction();
  g_store->Put(Text("not committed"), Text("value"));
  std::printf("%d\n", getpid());
  std::fflush(stdout);
  for (;;) pause();
}

int WriteWithUmask(mode_t mask) {
  umask(mask);
  if (Open() != Status::SUCCESS) return 1;
  for (int i = 0; i < 3000; ++i) g_store->Put(Text("k" + std::to_string(i)), Text(std::string(3000, 'v')));
  g_store.reset();
  return Open() == Status::SUCCESS ? 0 : 1;
}

// Ends while threads that nobody stops read, write and scan, with a slow observer in the way.
int EndWhileBusy(bool exitInObserver) {
  Open();
  g_store->SubscribeKvStore(SubscribeType::ALL, std::make_shared<SlowObserver>(exitInObserver));
  static SingleKvStore* const store = g_store.release();  // as a handle that a program never closes
  for (int i = 0; i < 3; ++i) {
    std::thread([i] {
      Value value;
      std::vector<Entry> entries;
      for (int n = 0;; ++n) {
        const Blob key = Text(std::to_string(i) + "/" + std::to_string(n % 5000));
        if (store->Put(key, Text(std::string(500, 'v'))) == Status::STORE_NOT_OPEN) return;
        store->Get(key, value);
        if (n % 500 == 0) store->GetEntries(Text(std::to_string(i)), entries);
      }
    }).detach();
  }
  std::this_thread::sleep_for(std::chrono::milliseconds(std::random_device()() % 100));
  if (exitInObserver) std::this_thread::sleep_for(std::chrono::seconds(60));
  return 0;
}

// A copy of the process that ends in the ordinary way must leave the store alone.
int ForkAndGoOn() {
  Open();
  g_store->Put(Text("before"), Text("1"));
  if (fork() == 0) std::_Exit(Open("other") == Status::ERROR ? 0 : 1);
  int result = 0;
  wait(&result);
  if (fork() == 0) {
    g_store.reset();
    std::_Exit(0);
  }
  wait(nullptr);
  Value value;
  const bool works = g_store->Put(Text("after"), Text("2")) == Status::SUCCESS &&
                     g_store->Get(Text("before"), value) == Status::SUCCESS;
  return result == 0 && works ? 0 : 1;
}

// Prints what each operation answers in a store that may only be read.
int PrintReadOnly() {
  std::vector<Entry> entries;
  std::vector<DeviceInfo> devices;
  Value value;
  DistributedKvDataManager().GetDeviceList(devices, DeviceFilterStrategy::FILTER);
  std::printf("open %d", static_cast<int>(Open()));
  if (g_store == nullptr) return 0;
  const Status statuses[] = {g_store->Get(Text("k"), value),
                             g_store->GetEntries(Blob(), entries),
                             g_store->Put(Text("k"), Text("other")),
                             g_store->PutBatch(entries),
                             g_store->PutBatch({}),
                             g_store->Delete(Text("k")),
                             g_store->DeleteBatch({}),
                             g_store->StartTransaction(),
                             g_store->RemoveDeviceData("device", 0),
                             g_store->Get(Text("k"), value)};
  for (const Status status : statuses) std::printf(" %d", static_cast<int>(status));
  std::printf(" %s\n", value.ToString().c_str());
  return 0;
}

// Makes a store and ends without closing it, so that its records are in the log alone.
int LeaveInLog() {
  Open();
  g_store->Put(Text("k"), Text("v"));
  std::fflush(stdout);
  std::_Exit(0);
}

long AnonymousKiB() {
  std::ifstream status("/proc/self/status");
  for (std::string line; std::getline(status, line);) {
    if (line.compare(0, 8, "RssAnon:") == 0) return std::stol(line.substr(8));
  }
  return -1;
}

int PrintIdleMemory() {
  const long before = AnonymousKiB();
  Open();
  g_store->Put(Text("k"), Text("v"));
  std::printf("%ld\n", AnonymousKiB() - before);
  return 0;
}

// 300 MB in records of 1 KB, written in batches and then read at random and in order; prints the most seen.
int PrintLoadMemory() {
  constexpr int kRecords = 300'000;
  constexpr int kBatch = 100;
  const long before = AnonymousKiB();
  long most = 0;
  Open();
  std::mt19937_64 random(1);
  for (int i = 0; i < kRecords; i += kBatch) {
    std::vector<Entry> entries;
    for (int n = i; n < i + kBatch; ++n) {
      std::string value(1000, '\0');
      for (char& byte : value) byte = static_cast<char>(random());
      entries.emplace_back(Text("key" + std::to_string(random())),
                           Blob(std::vector<uint8_t>(value.begin(), value.end())));
    }
    if (g_store->PutBatch(entries) != Status::SUCCESS) return 1;
    if (i % 1000 == 0) most = std::max(most, AnonymousKiB());
  }
  for (int i = 0; i < 1000; ++i) {
    std::vector<Entry> entries;
    g_store->GetEntries(Text("key" + std::to_string(1000 + random() % 9000)), entries);
    if (i % 10 == 0) most = std::max(most, AnonymousKiB());
  }
  std::printf("%ld\n", most - before);
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  const std::map<std::string, int (*)()> modes = {
      {"status", PrintStatus},
      {"hold", Hold},
      {"umask-open", [] { return WriteWithUmask(0); }},
      {"umask-closed", [] { return WriteWithUmask(0777); }},
      {"end-while-busy", [] { return EndWhileBusy(false); }},
      {"end-in-observer", [] { return EndWhileBusy(true); }},
      {"fork", ForkAndGoOn},
      {"read-only", PrintReadOnly},
      {"leave-in-log", LeaveInLog},
      {"idle-memory", PrintIdleMemory},
      {"load-memory", PrintLoadMemory},
  };
  const auto mode = argc == 2 ? modes.find(argv[1]) : modes.end();
  return mode == modes.end() ? 2 : mode->second();
}
