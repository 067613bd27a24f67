// The local engine as the client sees it: ordered bytes by key, kept on disk. The one place to look at when
// another engine is to be tried.
#pragma once

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <initializer_list>
#include <memory>
#include <optional>
#include <string_view>

#include "common/crypto.h"
#include "contract/status.h"

namespace KORA::DistributedKv::Client {

// Bytes that somebody else owns.
using Bytes = std::string_view;

// A failure of the engine is DB_ERROR, with one line in the log that carries the engine's text.

// Walks the entries whose keys begin with one prefix in the order of their key bytes, over the state at the
// cursor's creation. One thread at a time. What Key and Value answer holds until the next move. Next and Prev
// are for a valid cursor; one that has left the entries comes back by a seek.
class Cursor {
 public:
  Cursor() = default;
  Cursor(const Cursor&) = delete;
  Cursor& operator=(const Cursor&) = delete;
  virtual ~Cursor() = default;

  virtual bool Valid() const = 0;
  virtual void Next() = 0;
  virtual void Prev() = 0;
  // To the first entry whose key is not less than `key`.
  virtual void Seek(Bytes key) = 0;
  virtual void SeekToLast() = 0;
  virtual Bytes Key() const = 0;
  virtual Bytes Value() const = 0;
  // Why the cursor is not valid any more: SUCCESS beyond either end of the entries, else DB_ERROR.
  virtual Status Result() const = 0;
};

// What can be read.
class View {
 public:
  using Visitor = std::function<void(Bytes value)>;

  View() = default;
  View(const View&) = delete;
  View& operator=(const View&) = delete;
  virtual ~View() = default;

  // Shows `visit` the value in place, if there is one; else KEY_NOT_FOUND.
  virtual Status Get(Bytes key, const Visitor& visit) const = 0;
  // A cursor at the first of the entries whose keys begin with `prefix`.
  virtual std::unique_ptr<Cursor> Entries(Bytes prefix) const = 0;
  // The state of this moment, for any number of threads. It and its cursors end before the engine, no matter
  // when what it was taken of ends.
  virtual std::unique_ptr<View> NewSnapshot() const = 0;
};

// Writes that take effect together or not at all. The last write of a key wins. One thread at a time.
class Batch {
 public:
  Batch() = default;
  Batch(const Batch&) = delete;
  Batch& operator=(const Batch&) = delete;
  virtual ~Batch() = default;

  // The value is `head` followed by `body`.
  virtual void Put(Bytes key, Bytes head, Bytes body) = 0;
  virtual void Delete(Bytes key) = 0;
  // The batch survives: what has failed may be tried again.
  virtual Status Commit() = 0;
};

// A batch that can be looked into. As a view it shows the engine as if the batch were written. A snapshot
// shares the batch's memory; the first write after it copies the batch.
class IndexedBatch : public Batch, public View {
 public:
  // No value: the key is deleted.
  using ChangeVisitor = std::function<void(Bytes key, const std::optional<Bytes>& value)>;

  // Shows the last write of each key that begins with `prefix`, in the order of the key bytes.
  virtual void Changes(Bytes prefix, const ChangeVisitor& visit) const = 0;
};

// An open database; its end closes it. Any thread may call. Batches, cursors and snapshots end before
// their engine.
class Engine : public View {
 public:
  virtual std::unique_ptr<Batch> NewBatch() = 0;
  virtual std::unique_ptr<IndexedBatch> NewIndexedBatch() = 0;
  // Deletes all entries whose keys begin with one of the prefixes, together, at a cost that does not depend
  // on their number.
  virtual Status DeleteAll(std::initializer_list<Bytes> prefixes) = 0;
  // Makes what was committed outlast the loss of power.
  virtual Status Sync() = 0;
  virtual bool ReadOnly() const = 0;
  // Takes the engine for failed: the folder is not its own any more.
  virtual void Fail() = 0;
  // Makes the backups that the options want from now on: one each interval and one at the engine's end,
  // unless nothing was committed since. To be called when what the engine holds is known to be sound.
  virtual void StartBackups() = 0;
};

// Whether reading has found damage in the database of this folder since it was created or restored.
bool IsMarkedDamaged(const std::filesystem::path& folder);

struct EngineOptions {
  std::filesystem::path folder;
  std::filesystem::path backups;  // empty: none are made
  std::chrono::seconds backupInterval{0};
  std::function<void()>
      failed;           // called once when the engine has failed for good, on any thread; may be empty
  bool create = false;  // whether the folder holds no database yet
  const SecretKey* key = nullptr;  // encrypts all files; borrowed for the call; null: not encrypted
  bool readOnly = false;           // writes nothing to the folder; what would write answers READ_ONLY
  bool syncCommits = false;        // whether each commit waits for the disk
  uint64_t memoryBudget = 0;       // bytes for all engines of the process; the first one's holds
};

// Opens or creates the database in a folder that is there. SUCCESS; RECOVER_FAILED: the database is damaged,
// also when what should be there is not; DB_ERROR: it can't be opened now. Changes nothing unless it
// succeeds, but for what a crash has left undone.
Status OpenEngine(const EngineOptions& options, std::unique_ptr<Engine>& engine);

}  // namespace KORA::DistributedKv::Client
