// What the client's tests share: a home of their own, stores, bytes, an observer that remembers.
#pragma once

#include <gtest/gtest.h>

#include <chrono>
#include <condition_variable>
#include <filesystem>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
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

// As a value that is a text, as documents are.
inline std::string Text(const std::string& text) {
  return "\1" + text;
}

// A schema with an index, and a document that fits it.
inline constexpr const char* kIndexed = R"({"fields": [{"field": "n", "type": "int"}], "indexes": ["n"]})";
inline std::string Document(int n) {
  return Text("{\"n\": " + std::to_string(n) + "}");
}

// "<status>", which stands where a result is missing.
inline std::string ToText(Status status) {
  return "<" + std::to_string(static_cast<int>(status)) + ">";
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

inline void PutRaw(Client::Engine& engine, Client::Bytes key, Client::Bytes value) {
  const std::unique_ptr<Client::Batch> batch = engine.NewBatch();
  batch->Put(key, value, {});
  EXPECT_EQ(batch->Commit(), Status::SUCCESS);
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

  // The value, or "<status>" in its stead. Of a store or a snapshot.
  template <typename Store>
  static std::string Get(Store& store, const std::string& key) {
    Value value;
    const Status status = store.Get(B(key), value);
    return status == Status::SUCCESS ? value.ToString() : ToText(status);
  }

  static Pairs List(const SingleKvStore& store, const std::string& prefix = "") {
    std::vector<Entry> entries;
    EXPECT_EQ(store.GetEntries(B(prefix), entries), Status::SUCCESS);
    return ToPairs(entries);
  }

  // The keys of the matches with blanks between them, or "<status>".
  static std::string Keys(const SingleKvStore& store, const std::string& query) {
    std::vector<Entry> entries;
    const Status status = store.GetEntriesWithQuery(query, entries);
    if (status != Status::SUCCESS) return ToText(status);
    std::string keys;
    for (const Entry& entry : entries) keys.append(keys.empty() ? "" : " ").append(entry.key.ToString());
    int32_t count = -1;
    EXPECT_EQ(store.GetCountWithQuery(query, count), Status::SUCCESS);
    EXPECT_EQ(count, static_cast<int32_t>(entries.size())) << query;
    EXPECT_EQ(Walk(store, query), keys) << query;
    return keys;
  }

  // The same from a result set, read from its last row to its first.
  static std::string Walk(const SingleKvStore& store, const std::string& query) {
    std::string keys;
    store.GetResultSetWithQuery(query, [&keys](Status status, std::unique_ptr<KvStoreResultSet> rows) {
      ASSERT_EQ(status, Status::SUCCESS);
      Entry entry;
      for (bool there = rows->MoveToLast(); there; there = rows->MoveToPrevious()) {
        EXPECT_EQ(rows->GetEntry(entry), Status::SUCCESS);
        keys = entry.key.ToString() + (keys.empty() ? "" : " ") + keys;
      }
    });
    return keys;
  }

  std::filesystem::path Folder(const std::string& storeId) const { return Home() / app_.appId / storeId; }

  const AppId app_;
  DistributedKvDataManager manager_;
};

inline constexpr const char* kAbsent = "<27459592>";

// Remembers what it is given, for who waits for it; can hold up who gives.
template <typename T>
class Recorder {
 public:
  void Add(T item) {
    std::unique_lock<std::mutex> lock(mutex_);
    items_.push_back(std::move(item));
    changed_.notify_all();
    changed_.wait(lock, [this] { return !held_; });
  }

  // From now on calls of Add do not return, until Hold(false).
  void Hold(bool held) {
    const std::lock_guard<std::mutex> lock(mutex_);
    held_ = held;
    changed_.notify_all();
  }

  // What was given, once that is `count` items or more.
  std::vector<T> Await(size_t count) {
    AwaitItems(count);
    const std::lock_guard<std::mutex> lock(mutex_);
    return items_;
  }
  // The same, which is then forgotten.
  std::vector<T> Take(size_t count) {
    AwaitItems(count);
    const std::lock_guard<std::mutex> lock(mutex_);
    return std::exchange(items_, {});
  }

 private:
  void AwaitItems(size_t count) {
    std::unique_lock<std::mutex> lock(mutex_);
    EXPECT_TRUE(changed_.wait_for(lock, std::chrono::seconds(20), [&] { return items_.size() >= count; }));
  }

  std::mutex mutex_;
  std::condition_variable changed_;
  std::vector<T> items_;
  bool held_ = false;
};

// Remembers what it is told, as lines such as "+key=value ~key=value -key=last value".
class RecordingObserver : public KvStoreObserver, public Recorder<std::string> {
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
    devices_.Add(notification.GetDeviceId());
    Add(line);
  }
  void OnChange(const ChangeNotification& /*notification*/,
                std::unique_ptr<KvStoreSnapshot> /*snapshot*/) override {
    ADD_FAILURE() << "a single store has no snapshots";
  }

  // That wrote what was told last.
  std::string Device() { return devices_.Await(1).back(); }

 private:
  Recorder<std::string> devices_;
};

// Runs `work` on so many threads, each with its number, to their end.
template <typename Work>
void OnThreads(int count, const Work& work) {
  std::vector<std::thread> threads;
  threads.reserve(static_cast<size_t>(count));
  for (int i = 0; i < count; ++i) threads.emplace_back([&work, i] { work(i); });
  for (std::thread& thread : threads) thread.join();
}

}  // namespace KORA::DistributedKv
