// Disks that are full or broken, and folders that go away, under open stores.
#include <rocksdb/file_system.h>

#include <algorithm>
#include <atomic>
#include <fstream>
#include <functional>
#include <thread>

#include "contract/kv_store_death_recipient.h"
#include "engine/rocksdb_options.h"
#include "support.h"

namespace KORA::DistributedKv {
namespace {

enum class Fault { kNone, kFull, kBroken, kNoMemory };
std::atomic<Fault> g_fault{Fault::kNone};
std::string
    g_unopened;  // what the names of files hold that can't be opened; empty: none; while nothing is open

// Writes half of what it is given before it fails.
class FaultyFile : public rocksdb::FSWritableFileOwnerWrapper {
 public:
  using FSWritableFileOwnerWrapper::FSWritableFileOwnerWrapper;

  rocksdb::IOStatus Append(const rocksdb::Slice& data, const rocksdb::IOOptions& options,
                           rocksdb::IODebugContext* debug) override {
    const Fault fault = g_fault;
    written_ += data.size();
    // Into room that was allocated a write gets through.
    if ((fault != Fault::kBroken && fault != Fault::kFull) ||
        (fault == Fault::kFull && written_ <= allocated_))
      return FSWritableFileOwnerWrapper::Append(data, options, debug);
    FSWritableFileOwnerWrapper::Append({data.data(), data.size() / 2}, options, debug).PermitUncheckedError();
    return fault == Fault::kFull ? rocksdb::IOStatus::NoSpace("no space")
                                 : rocksdb::IOStatus::IOError("broken");
  }
  rocksdb::IOStatus Allocate(uint64_t offset, uint64_t length, const rocksdb::IOOptions& options,
                             rocksdb::IODebugContext* debug) override {
    if (g_fault == Fault::kFull) return rocksdb::IOStatus::NoSpace("no space");
    allocated_ = std::max(allocated_, offset + length);
    return FSWritableFileOwnerWrapper::Allocate(offset, length, options, debug);
  }
  rocksdb::IOStatus Append(const rocksdb::Slice& data, const rocksdb::IOOptions& options,
                           const rocksdb::DataVerificationInfo& /*verification*/,
                           rocksdb::IODebugContext* debug) override {
    return Append(data, options, debug);
  }

 private:
  uint64_t written_ = 0;
  uint64_t allocated_ = 0;
};

class FaultyFiles : public rocksdb::FileSystemWrapper {
 public:
  FaultyFiles() : FileSystemWrapper(rocksdb::FileSystem::Default()) {}
  const char* Name() const override { return "FaultyFiles"; }

  rocksdb::IOStatus NewWritableFile(const std::string& name, const rocksdb::FileOptions& options,
                                    std::unique_ptr<rocksdb::FSWritableFile>* file,
                                    rocksdb::IODebugContext* debug) override {
    if (IsUnopened(name)) return rocksdb::IOStatus::IOError("Too many open files");
    rocksdb::IOStatus status = FileSystemWrapper::NewWritableFile(name, options, file, debug);
    if (status.ok()) *file = std::make_unique<FaultyFile>(std::move(*file));
    return status;
  }
  rocksdb::IOStatus NewSequentialFile(const std::string& name, const rocksdb::FileOptions& options,
                                      std::unique_ptr<rocksdb::FSSequentialFile>* file,
                                      rocksdb::IODebugContext* debug) override {
    if (IsUnopened(name)) return rocksdb::IOStatus::IOError("Too many open files");
    return FileSystemWrapper::NewSequentialFile(name, options, file, debug);
  }
  // As a backup begins.
  rocksdb::IOStatus CreateDirIfMissing(const std::string& name, const rocksdb::IOOptions& options,
                                       rocksdb::IODebugContext* debug) override {
    if (g_fault == Fault::kNoMemory) throw std::bad_alloc();
    return FileSystemWrapper::CreateDirIfMissing(name, options, debug);
  }

 private:
  static bool IsUnopened(const std::string& name) {
    return !g_unopened.empty() && name.find(g_unopened) != std::string::npos;
  }
};

class RecordingRecipient : public KvStoreDeathRecipient {
 public:
  void OnRemoteDied() override { ++deaths; }

  // Whether there were so many deaths at last.
  bool Await(int count) const {
    for (int i = 0; i < 2000 && deaths < count; ++i)
      std::this_thread::sleep_for(std::chrono::milliseconds(10));
    return deaths == count;
  }

  std::atomic<int> deaths{0};
};

class Faults : public ClientTest {
 protected:
  Faults() {
    g_fault = Fault::kNone;
    Client::PutBelowEngines(std::make_shared<FaultyFiles>());
    manager_.RegisterKvStoreServiceDeathRecipient(recipient_);
  }
  ~Faults() override {
    g_fault = Fault::kNone;
    manager_.UnRegisterKvStoreServiceDeathRecipient(recipient_);
    Client::PutBelowEngines(rocksdb::FileSystem::Default());
  }

  static std::unique_ptr<KvStoreResultSet> OpenResultSet(const SingleKvStore& store) {
    std::unique_ptr<KvStoreResultSet> opened;
    store.GetResultSet(B(""), [&opened](Status, std::unique_ptr<KvStoreResultSet> resultSet) {
      opened = std::move(resultSet);
    });
    return opened;
  }

  int Tables(const std::string& storeId) const {
    const std::filesystem::directory_iterator files(Folder(storeId));
    return static_cast<int>(std::count_if(
        begin(files), end(files), [](const auto& file) { return file.path().extension() == ".sst"; }));
  }

  const std::shared_ptr<RecordingRecipient> recipient_ = std::make_shared<RecordingRecipient>();
};

TEST_F(Faults, AFullDiskStopsWritingUntilThereIsRoom) {
  for (const bool encrypted : {false, true}) {
    Options options = Creating();
    options.encrypt = encrypted;
    const std::string name = encrypted ? "encrypted" : "plain";
    auto store = Open(name, options);
    const std::string kept(2'000'000, 'k');
    Pairs expected;
    for (int round = 0; round < 5; ++round) {
      const std::string key = "round" + std::to_string(round);
      if (round != 2) {  // one round begins with nothing written since the last
        EXPECT_EQ(Put(*store, key, "before"), Status::SUCCESS);
        expected.emplace_back(key, "before");
      }
      g_fault = Fault::kFull;
      // What fits into the room that the log has already may get through, but no more.
      for (int i = 0; i < 2; ++i) EXPECT_EQ(Put(*store, key, std::string(3'000'000, 'l')), Status::DB_ERROR);
      EXPECT_EQ(store->StartTransaction(), Status::SUCCESS);
      EXPECT_EQ(Put(*store, key + "t", kept), Status::SUCCESS);
      EXPECT_EQ(store->Commit(), Status::DB_ERROR);
      EXPECT_EQ(List(*store, "round" + std::to_string(round)).size(),
                round == 2 ? 1U : 2U);  // and the transaction's

      g_fault = Fault::kNone;
      EXPECT_EQ(store->Commit(), Status::SUCCESS);
      expected.emplace_back(key + "t", kept);
      EXPECT_TRUE(List(*store) == expected);
      if (round % 2 == 1) {
        store.reset();
        store = Open(name, options);
      }
    }
    g_fault = Fault::kFull;  // a store that can't be sealed and backed up is as after a crash
    EXPECT_EQ(Put(*store, "lost", std::string(3'000'000, 'l')), Status::DB_ERROR);
    store.reset();
    g_fault = Fault::kNone;
    EXPECT_TRUE(List(*Open(name, options)) == expected);
  }
  EXPECT_EQ(recipient_->deaths, 0);
}

TEST_F(Faults, AnEngineThatFailsForGoodIsReportedOnceAndServesAgainWhenReopened) {
  const std::vector<std::function<void(SingleKvStore&)>> failures = {
      [](SingleKvStore& store) {
        g_fault = Fault::kBroken;
        EXPECT_EQ(Put(store, "k", "lost"), Status::DB_ERROR);
        EXPECT_EQ(Put(store, "k", "lost"), Status::DB_ERROR);
        g_fault = Fault::kNone;
      },
      [this](SingleKvStore&) { std::filesystem::remove_all(Folder("store")); },
      [this](SingleKvStore&) { std::filesystem::rename(Folder("store"), Home() / "moved"); },
      [this](SingleKvStore&) { std::filesystem::rename(Home() / app_.appId, Home() / "moved application"); },
  };
  int deaths = 0;
  for (const auto& fail : failures) {
    SCOPED_TRACE(deaths);
    const auto store = Open();
    const auto other = Open();
    EXPECT_EQ(Put(*store, "k", "v"), Status::SUCCESS);
    auto resultSet = OpenResultSet(*store);
    fail(*store);
    EXPECT_TRUE(recipient_->Await(++deaths));
    Entry entry;
    EXPECT_TRUE(resultSet->MoveToNext());  // who walks must not take this for the end
    EXPECT_EQ(resultSet->GetEntry(entry), Status::DB_ERROR);
    EXPECT_EQ(store->CloseResultSet(std::move(resultSet)), Status::SUCCESS);
    for (const auto& handle : {store.get(), other.get()}) {
      EXPECT_EQ(Get(*handle, "k"), "<27459593>");
      EXPECT_EQ(Put(*handle, "k", "v"), Status::DB_ERROR);
    }
    // Handles of the failed store may stay open.
    const auto reopened = Open();
    EXPECT_EQ(Get(*reopened, "k"), deaths == 1 ? "v" : kAbsent);
    EXPECT_EQ(Put(*reopened, "k", "v"), Status::SUCCESS);
    EXPECT_EQ(Get(*store, "k"), "<27459593>");
  }
  EXPECT_TRUE(recipient_->Await(deaths));
  EXPECT_EQ(Get(*Open(), "k"), "v");
}

TEST_F(Faults, AFailedEngineLeavesNoWeightOnOtherStores) {
  // Together more than the write buffers of the process are to hold.
  for (int i = 1; i <= 2; ++i) {
    const auto lost = Open("lost");
    for (const char* key : {"k", "l"})
      EXPECT_EQ(Put(*lost, key, std::string(3'300'000, 'v')), Status::SUCCESS);
    std::filesystem::remove_all(Folder("lost"));
    EXPECT_TRUE(recipient_->Await(i));
  }
  const auto store = Open();
  for (int i = 0; i < 50; ++i) EXPECT_EQ(Put(*store, std::to_string(i), "v"), Status::SUCCESS);
  EXPECT_EQ(Tables("store"), 0);
}

TEST_F(Faults, AFailedEngineLeavesTheFolderOfItsSuccessorAlone) {
  auto store = Open();
  Put(*store, "k", "v");
  std::filesystem::rename(Folder("store"), Home() / "moved away");
  EXPECT_TRUE(recipient_->Await(1));
  // As another process may have made it meanwhile, with numbers that the failed engine would take for old.
  std::filesystem::create_directories(Folder("store"));
  for (const char* name : {"000002.log", "000003.sst", "MANIFEST-000001"})
    std::ofstream(Folder("store") / name) << "another's";
  store.reset();
  for (const char* name : {"000002.log", "000003.sst", "MANIFEST-000001"})
    EXPECT_TRUE(std::filesystem::exists(Folder("store") / name)) << name;
}

TEST_F(Faults, PassingTroubleOfARecoveryBringsNoOlderBackup) {
  Options options = Creating();
  options.backup = true;
  const std::filesystem::path tables = Home() / app_.appId / ".backups/store/shared_checksum";
  std::string newest;
  for (const char* value : {"older", "newer"}) {
    Put(*Open("store", options), "k", value);
    for (const auto& table : std::filesystem::directory_iterator(tables))
      newest = std::max(newest, table.path().filename().string());
  }
  const std::string number = newest.substr(0, newest.find('_'));
  std::filesystem::remove(Folder("store") / "CURRENT");
  for (const char* folder : {"/shared_checksum/", "/restoring/"}) {
    g_unopened = folder + number;
    Open("store", options, Status::DB_ERROR);
  }
  g_unopened.clear();
  Open("store", options, Status::RECOVER_SUCCESS);
  EXPECT_EQ(Get(*Open("store", options), "k"), "newer");
}

TEST_F(Faults, ABackupThatThrowsKeepsNoStoreFromBeingClosed) {
  Options options = Creating();
  options.backup = true;
  auto store = Open("store", options);
  Put(*store, "k", "v");
  g_fault = Fault::kNoMemory;
  store.reset();
  g_fault = Fault::kNone;
  EXPECT_TRUE(std::filesystem::exists(Folder("store") / "SEAL"));
}

TEST_F(Faults, ACreationThatFailsLeavesNoStore) {
  Options options = Creating();
  options.backup = true;
  g_fault = Fault::kBroken;
  Open("store", options, Status::DB_ERROR);
  g_fault = Fault::kNone;
  EXPECT_FALSE(std::filesystem::exists(Home() / app_.appId / ".backups"));
  EXPECT_EQ(manager_.DeleteKvStore(app_, {"store"}), Status::STORE_NOT_FOUND);
  EXPECT_EQ(Put(*Open("store", options), "k", "v"), Status::SUCCESS);
}

}  // namespace
}  // namespace KORA::DistributedKv
