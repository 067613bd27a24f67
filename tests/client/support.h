// What the client's tests share: a home of their own, stores, bytes, an observer that remembers.
#pragma once

#include <gtest/gtest.h>

#include <chrono>
#include <condition_variable>
#include <filesystem>
#include <memory>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "contract/distributed_kv_data_manager.h"
#include "engine/engine.h"

namespace KORA::DistributedKv {

// The home folder of this test process; removed at its end.
const std::filesystem::path& Home();

inline Blob B(const std::string& text) {
  return Blob(std::vector<uint8_t>(text.begin(), text.end()));
}

inline Options Creating() {
  Options options;
  options.createIfMissing = true;
  return options;
}

using Pairs = std::vector<std::pair<std::string, std::string>>;

template <typename Entries>
Pairs ToPairs(const Entries& entries) {
  Pairs pairs;
  for (const Entry& entry : entries) pairs.emplace_back(entry.key.ToString(), entry.value.ToString());
  return pairs;
}

// The database in a folder, without a store around it; made where there is none.
inline std::unique_ptr<Client::Engine> OpenRaw(const std::filesystem::path& folder, bool readOnly = false,
                                               const std::filesystem::path& backups = {}) {
  std::filesystem::create_directories(folder);
  Client::EngineOptions options;
  options.folder = folder;
  options.create = std::filesystem::is_empty(folder);
  options.readOnly = readOnly;
  options.backups = backups;
  options.backupInterval = std::chrono::hours(1);
  options.memoryBudget = 8 << 20;
  std::unique_ptr<Client::Engine> engine;
  EXPECT_EQ(Client::OpenEngine(options, engine), Status::SUCCESS);
  return engine;
}

// Each test is an application of its own.
class ClientTest : public testing::Test {
 protected:
  ClientTest() : app_{testing::UnitTest::GetInstance()->current_test_info()->name()} {}

  std::unique_ptr<SingleKvStore> Open(const std::string& storeId = "store",
                                      const Options& options = Creating(),
                                      Status expected = Status::SUCCESS) {
    std::unique_ptr<SingleKvStore> opened;
    int calls = 0;
    manager_.GetSingleKvStore(options, app_, {storeId},
                              [&](Status status, std::unique_ptr<SingleKvStore> store) {
                                ++calls;
                                EXPECT_EQ(status, expected) << storeId;
                                opened = std::move(store);
                              });
    EXPECT_EQ(calls, 1);
    EXPECT_EQ(opened != nullptr, expected == Status::SUCCESS);
    return opened;
  }

  std::unique_ptr<KvStore> OpenMulti(const std::string& storeId = "multi",
                                     Status expected = Status::SUCCESS) {
    Options options = Creating();
    options.kvStoreType = KvStoreType::MULTI_VERSION;
    std::unique_ptr<KvStore> opened;
    manager_.GetKvStore(options, app_, {storeId}, [&](Status status, std::unique_ptr<KvStore> store) {
      EXPECT_EQ(status, expected);
      opened = std::move(store);
    });
    return opened;
  }

  static Status Put(SingleKvStore& store, const std::string& key, const std::string& value) {
    return store.Put(B(key), B(value));
  }

  // The value, or "<status>" in its stead.
  static std::string Get(const SingleKvStore& store, const std::string& key) {
    Value value;
    const Status status = store.Get(B(key), value);
    return status == Status::SUCCESS ? value.ToString()
                                     : "<" + std::to_string(static_cast<int>(status)) + ">";
  }

  static Pairs List(const SingleKvStore& store, const std::string& prefix = "") {
    std::vector<Entry> entries;
    EXPECT_EQ(store.GetEntries(B(prefix), entries), Status::SUCCESS);
    return ToPairs(entries);
  }

  std::filesystem::path Folder(const std::string& storeId) const { return Home() / app_.appId / storeId; }

  const AppId app_;
  DistributedKvDataManager manager_;
};

inline constexpr const char* kAbsent = "<27459592>";

// Remembers what it is told, as lines such as "+key=value ~key=value -key=last value"; can be made slow.
class RecordingObserver : public KvStoreObserver {
 public:
  void OnChange(const ChangeNotification& notification) override {
    std::string line;
    for (const auto& [sign, entries] :
         {std::pair("+", &notification.GetInsertEntries()), std::pair("~", &notification.GetUpdateEntries()),
          std::pair("-", &notification.GetDeleteEntries())}) {
      for (const auto& [key, value] : ToPairs(*entries)) {
        line.append(line.empty() ? "" : " ").append(sign).append(key).append("=").append(value);
      }
    }
    std::unique_lock<std::mutex> lock(mutex_);
    device_ = notification.GetDeviceId();
    lines_.push_back(line);
    changed_.notify_all();
    changed_.wait(lock, [this] { return !held_; });
  }
  void OnChange(const ChangeNotification& /*notification*/,
                std::unique_ptr<KvStoreSnapshot> /*snapshot*/) override {
    ADD_FAILURE() << "a single store has no snapshots";
  }

  // From now on calls do not return, until Hold(false).
  void Hold(bool held) {
    const std::lock_guard<std::mutex> lock(mutex_);
    held_ = held;
    changed_.notify_all();
  }

  // What was told, once that is `count` lines or more.
  std::vector<std::string> Await(size_t count) {
    std::unique_lock<std::mutex> lock(mutex_);
    EXPECT_TRUE(changed_.wait_for(lock, std::chrono::seconds(20), [&] { return lines_.size() >= count; }));
    return lines_;
  }

  std::string Device() {
    const std::lock_guard<std::mutex> lock(mutex_);
    return device_;
  }

 private:
  std::mutex mutex_;
  std::condition_variable changed_;
  std::vector<std::string> lines_;
  std::string device_;
  bool held_ = false;
};

}  // namespace KORA::DistributedKv
