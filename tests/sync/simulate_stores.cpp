// Devices with stores on disk; a crash brings a store's files back as they were when they were last durable.
#include <cstdlib>
#include <filesystem>
#include <map>

#include "simulate.h"
#include "store/store_replica.h"
#include "troubled_engine.h"

namespace KORA::DistributedKv::Client::Sync {
namespace {

Blob ToKey(const std::string& text) {
  return Blob(std::vector<uint8_t>(text.begin(), text.end()));
}

[[noreturn]] void Fail(const char* what) {
  std::fprintf(stderr, "a store fails: %s\n", what);
  std::abort();
}

void Demand(Status status, const char* what) {
  if (status != Status::SUCCESS) Fail(what);
}

constexpr Trouble kNoTrouble = Trouble::kNone;

// Notes the bound of the versions as each Sync has it.
class SyncedEngine : public TroubledEngine {
 public:
  SyncedEngine(std::unique_ptr<Engine> engine, std::string& bound)
      : TroubledEngine(std::move(engine), kNoTrouble), bound_(bound) {}
  Status Sync() override {
    Get(kClockKey, [this](Bytes stored) { bound_ = stored; });
    return TroubledEngine::Sync();
  }

 private:
  std::string& bound_;
};

class StoredReplica : public DeviceReplica {
 public:
  StoredReplica(std::filesystem::path folder, std::string device, WallClock clock)
      : folder_(std::move(folder)), device_(std::move(device)), clock_(std::move(clock)) {
    std::filesystem::create_directories(folder_);
    Open();
    MakeDurable();
  }
  StoredReplica(const StoredReplica&) = delete;
  StoredReplica& operator=(const StoredReplica&) = delete;
  ~StoredReplica() override {
    Close();
    std::filesystem::remove_all(folder_);
    std::filesystem::remove_all(Durable());
  }

  Version Write(const std::vector<Change>& changes) override {
    Demand(store_->StartTransaction(), "to begin a transaction");
    for (const auto& [key, value] : changes) {
      Demand(value ? store_->Put(ToKey(key), ToKey(*value)) : store_->Delete(ToKey(key)), "to write");
    }
    Demand(store_->Commit(), "to commit");
    Content content;
    Demand(replica_->Read(changes.front().first, content), "to read what was written");
    return content.stamp.version;
  }
  void MakeDurable() override { Copy(folder_, Durable()); }
  void Crash() override {
    const std::string synced = synced_;  // before an orderly end
    Close();
    Copy(Durable(), folder_);
    synced_ = synced;
    Open();
  }
  void SetBroken(bool broken) override { broken_ = broken; }
  void SetSlow(bool slow) override { slow_ = slow; }

  std::optional<Version> NextVersion() override {
    const std::optional<Version> next = replica_->NextVersion();
    if (!next || *next <= answered_) Fail("to give a new number");
    return answered_ = *next;
  }
  std::string State() override { return replica_->State(); }
  Status Read(const std::string& key, Content& content) override { return replica_->Read(key, content); }
  Status ReadIf(const std::string& key, const Stamp& stamp, Content& content) override {
    return replica_->ReadIf(key, stamp, content);
  }
  Status Scan(const std::string& after, const std::string& last, size_t limit,
              std::vector<Held>& held) override {
    return replica_->Scan(after, last, limit, held);
  }
  Status Tombstones(Version before, const std::string& after, size_t limit,
                    std::vector<Held>& held) override {
    return replica_->Tombstones(before, after, limit, held);
  }
  Status Log(LogPosition after, size_t limit, std::vector<LogEntry>& entries) override {
    return replica_->Log(after, limit, entries);
  }
  LogPosition LogEnd() override { return replica_->LogEnd(); }
  Status CutLog(LogPosition upTo, const std::string& state) override {
    return broken_ ? Status::DB_ERROR : replica_->CutLog(upTo, state);
  }
  bool HasRoom() override { return !slow_; }
  Status Merge(const Group& group) override { return broken_ ? Status::DB_ERROR : replica_->Merge(group); }
  Status Forget(const std::string& device, const std::string& state) override {
    return replica_->Forget(device, state);
  }

 private:
  std::filesystem::path Durable() const { return folder_.string() + ".durable"; }

  using Listing = std::map<std::string, uintmax_t>;  // sizes by name
  static Listing List(const std::filesystem::path& folder, std::error_code& error) {
    Listing listing;
    for (const auto& file : std::filesystem::directory_iterator(folder, error))
      listing[file.path().filename()] = file.is_regular_file(error) ? file.file_size(error) : 0;
    return listing;
  }

  // The engine tidies up on threads of its own: what it does meanwhile spoils a copy.
  static void Copy(const std::filesystem::path& from, const std::filesystem::path& to) {
    constexpr int kAttempts = 100;
    std::error_code error;
    for (int i = 0; i < kAttempts; ++i) {
      error.clear();
      std::filesystem::remove_all(to);
      const Listing before = List(from, error);
      std::filesystem::copy(from, to, std::filesystem::copy_options::recursive, error);
      if (!error && List(from, error) == before && !error) return;
    }
    Fail("to copy its files");
  }

  void Open() {
    EngineOptions options;
    options.folder = folder_;
    options.create = std::filesystem::is_empty(folder_);
    options.memoryBudget = 8 << 20;
    std::unique_ptr<Engine> engine;
    Demand(OpenEngine(options, engine), "to open");
    KeepBound(*engine);
    engine = std::make_unique<SyncedEngine>(std::move(engine), synced_);
    store_ = std::make_shared<Store>("store", StoreTraits(), std::move(engine), device_, 0, clock_);
    Demand(store_->Load(), "to load");
    Demand(StoreReplica::Open(store_, replica_), "to join");
  }
  // A crash takes more back than it may, but not this.
  void KeepBound(Engine& engine) const {
    std::string bound = synced_;
    engine.Get(kClockKey, [&bound](Bytes stored) { bound = std::max(bound, std::string(stored)); });
    const std::unique_ptr<Batch> batch = engine.NewBatch();
    if (!bound.empty()) batch->Put(kClockKey, bound, {});
    Demand(batch->Commit(), "to keep its clock");
  }
  void Close() {
    replica_.reset();
    store_->Close();
  }

  const std::filesystem::path folder_;
  const std::string device_;
  const WallClock clock_;
  std::shared_ptr<Store> store_;
  std::unique_ptr<StoreReplica> replica_;
  Version answered_ = 0;  // by NextVersion
  std::string synced_;    // the bound of the versions that outlasts a crash
  bool broken_ = false;
  bool slow_ = false;
};

}  // namespace
}  // namespace KORA::DistributedKv::Client::Sync

int main(int argc, char** argv) {
  namespace Sync = KORA::DistributedKv::Client::Sync;
  std::string home = (std::filesystem::temp_directory_path() / "kora-simulation-XXXXXX").string();
  if (mkdtemp(home.data()) == nullptr) return 1;
  const int result = Sync::Simulate(argc, argv, [&home](const std::string& device, Sync::WallClock clock) {
    return std::make_unique<Sync::StoredReplica>(home + "/" + device, device, std::move(clock));
  });
  std::filesystem::remove_all(home);
  return result;
}
