// What a store that takes part in synchronisation writes beside its records: a log of local changes, and
// tombstones of what was deleted.
//
// Entries of the log. The key is 'l' and the position, 8 bytes. Integers are big-endian.
//   offset  size  field
//   0       1     format: 1
//   1       1     1 for the last entry of a commit, else 0
//   2       8     version of the write
//   10      4     device that made it, by its number in this store
//   14      n     the caller's key
#pragma once

#include <atomic>
#include <functional>
#include <optional>
#include <string>

#include "contract/status.h"
#include "engine/engine.h"
#include "store/record.h"
#include "sync/replica.h"

namespace KORA::DistributedKv::Client {

struct LoggedChange {
  Version version = 0;
  uint32_t device = kThisDevice;
  bool endsCommit = false;
  Bytes key;  // the caller's; borrowed from what was parsed
};

std::string LogKey(Sync::LogPosition position);
// Nothing: damaged.
std::optional<Sync::LogPosition> PositionOf(Bytes logKey);
std::optional<LoggedChange> ParseLoggedChange(Bytes stored);

// Adds entries to a batch, behind those that the log has.
class LogAppender {
 public:
  LogAppender(Batch& batch, Sync::LogPosition end) : batch_(batch), end_(end) {}

  void Add(const LoggedChange& change);
  // Of the newest entry.
  Sync::LogPosition End() const { return end_; }

 private:
  Batch& batch_;
  Sync::LogPosition end_;
};

// Passes a local commit's writes of records on, and adds what belongs to them: a log entry for each, and a
// tombstone for each that is deleted, until the key is written again.
class LoggingBatch : public Batch {
 public:
  struct Parts {
    Batch& records;
    Batch& rest;  // takes what is no record
    const View& before;
    LogAppender& log;
  };

  LoggingBatch(const Parts& parts, Version version) : parts_(parts), version_(version) {}

  void Put(Bytes key, Bytes head, Bytes body) override;
  void Delete(Bytes key) override;
  Status Commit() override { return parts_.rest.Commit(); }

  // Once all is written. SUCCESS, or DB_ERROR when something could not be read: then the batch must not be
  // committed.
  Status Finish();

 private:
  void Log(Bytes engineKey);
  void AddLast(bool endsCommit);

  const Parts parts_;
  const Version version_;
  std::string last_;  // the caller's key of the newest change, until it is known whether it ends the commit
  Status result_ = Status::SUCCESS;
};

// Whether a store has joined the synchronisation, and how long its log is. Under the store's write lock, but
// for what may be asked by any thread.
class ChangeLog {
 public:
  // SUCCESS; RECOVER_FAILED: the log is damaged; DB_ERROR.
  Status Load(const View& engine);
  // READ_ONLY, DB_ERROR.
  Status Join(Engine& engine);
  void OnLogged(std::function<void()> hook) { hook_ = std::move(hook); }

  // Entries up to here are in the engine.
  void Grow(Sync::LogPosition end) { end_ = end; }
  void TellLogged() const {
    if (hook_) hook_();
  }

  // Any thread may ask.
  bool Joined() const { return joined_; }
  Sync::LogPosition End() const { return end_; }

 private:
  std::atomic<bool> joined_{false};
  std::atomic<Sync::LogPosition> end_{0};
  std::function<void()> hook_;
};

// The position up to which the log has been cut off. As Load answers.
Status ReadCut(const View& engine, Sync::LogPosition& cut);

}  // namespace KORA::DistributedKv::Client
