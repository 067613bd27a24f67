// An engine with troubles that a test chooses.
#pragma once

#include <memory>
#include <stdexcept>
#include <utility>

#include "engine/engine.h"

namespace KORA::DistributedKv::Client {

enum class Trouble { kNone, kReads, kThrows, kCommits };

// A batch that can't read or take one key, "two", or can't be committed.
class TroubledBatch : public IndexedBatch {
 public:
  TroubledBatch(std::unique_ptr<IndexedBatch> batch, const Trouble& trouble)
      : batch_(std::move(batch)), trouble_(trouble) {}

  void Put(Bytes key, Bytes head, Bytes body) override {
    if (trouble_ == Trouble::kThrows && key == "dtwo") throw std::runtime_error("no memory");
    batch_->Put(key, head, body);
  }
  void Delete(Bytes key) override { batch_->Delete(key); }
  Status Commit() override { return trouble_ == Trouble::kCommits ? Status::DB_ERROR : batch_->Commit(); }
  Status Get(Bytes key, const Visitor& visit) const override {
    return trouble_ == Trouble::kReads && key == "dtwo" ? Status::DB_ERROR : batch_->Get(key, visit);
  }
  std::unique_ptr<Cursor> Entries(Bytes prefix) const override { return batch_->Entries(prefix); }
  std::unique_ptr<View> NewSnapshot() const override { return batch_->NewSnapshot(); }
  void Changes(Bytes prefix, const ChangeVisitor& visit) const override { batch_->Changes(prefix, visit); }

 private:
  const std::unique_ptr<IndexedBatch> batch_;
  const Trouble& trouble_;
};

class UncommittedBatch : public Batch {
 public:
  void Put(Bytes /*key*/, Bytes /*head*/, Bytes /*body*/) override {}
  void Delete(Bytes /*key*/) override {}
  Status Commit() override { return Status::DB_ERROR; }
};

class TroubledEngine : public Engine {
 public:
  TroubledEngine(std::unique_ptr<Engine> engine, const Trouble& trouble)
      : engine_(std::move(engine)), trouble_(trouble) {}

  Status Get(Bytes key, const Visitor& visit) const override { return engine_->Get(key, visit); }
  std::unique_ptr<Cursor> Entries(Bytes prefix) const override { return engine_->Entries(prefix); }
  std::unique_ptr<View> NewSnapshot() const override { return engine_->NewSnapshot(); }
  std::unique_ptr<Batch> NewBatch() override {
    if (trouble_ == Trouble::kCommits) return std::make_unique<UncommittedBatch>();
    return engine_->NewBatch();
  }
  std::unique_ptr<IndexedBatch> NewIndexedBatch() override {
    return std::make_unique<TroubledBatch>(engine_->NewIndexedBatch(), trouble_);
  }
  Status DeleteAll(std::initializer_list<Bytes> prefixes) override { return engine_->DeleteAll(prefixes); }
  Status Sync() override { return engine_->Sync(); }
  bool ReadOnly() const override { return engine_->ReadOnly(); }
  void Fail() override { engine_->Fail(); }
  void StartBackups() override { engine_->StartBackups(); }

 private:
  const std::unique_ptr<Engine> engine_;
  const Trouble& trouble_;
};

}  // namespace KORA::DistributedKv::Client
