// Whether an open database still works, as RocksDB tells it.
#pragma once

#include <rocksdb/db.h>
#include <rocksdb/listener.h>

#include <atomic>
#include <filesystem>
#include <functional>
#include <string>
#include <utility>

namespace KORA::DistributedKv::Client {

// Any thread may call.
class Health : public rocksdb::EventListener {
 public:
  // `failed` is called once, when the database has failed for good.
  Health(std::filesystem::path folder, std::function<void()> failed)
      : folder_(std::move(folder)), failed_(std::move(failed)) {}

  // Looks at what an operation has answered: damage that came to light leaves a mark in the folder, so that
  // the next opening recovers the store.
  void Note(const rocksdb::Status& status);

  // Has a database that a failure has stopped write again, if the cause is gone.
  rocksdb::Status Resume(rocksdb::DB& database);

  // Failed for good; `reason` is for the log.
  void Fail(const std::string& reason);

  // Neither damaged nor failed.
  bool Sound() const { return !damaged_ && !dead_; }
  bool Dead() const { return dead_; }

  void OnBackgroundError(rocksdb::BackgroundErrorReason reason, rocksdb::Status* error) override;

 private:
  const std::filesystem::path folder_;
  const std::function<void()> failed_;
  std::atomic<bool> stopped_{false};
  std::atomic<bool> damaged_{false};
  std::atomic<bool> dead_{false};
};

}  // namespace KORA::DistributedKv::Client
