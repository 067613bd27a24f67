#include "multi_check.h"

#include "writes.h"

namespace KORA::DistributedKv::Model {

namespace {

constexpr size_t kMaxSnapshots = 6;

}  // namespace

void MultiCheck::Step(Chance& chance) {
  const uint32_t kind = chance.Below(1000);
  if (kind < 600) {
    Write(*store_, model_, chance);
  } else if (kind < 603) {
    Expect("Clear", store_->Clear(), Status::SUCCESS);
    model_.Now().clear();
  } else if (kind < 630 || snapshots_.empty()) {
    Keep(chance);
  } else if (kind < 700) {
    Read(Take(), chance);
  } else {
    Read(snapshots_[chance.Below(static_cast<uint32_t>(snapshots_.size()))], chance);
  }
}

void MultiCheck::Reopen(Chance& chance) {
  Close();
  for (const Snapshot& held : snapshots_) {
    Value value;
    Expect("Get, closed", held.snapshot->Get(ToBlob(chance.Key()), value), Status::STORE_NOT_OPEN);
  }
  const bool beforeOpening = chance.OneIn(2);
  if (beforeOpening) snapshots_.clear();
  Open();
  snapshots_.clear();
  ReadAll(Take(), "");
}

MultiCheck::Snapshot MultiCheck::Take() const {
  Snapshot taken;
  store_->GetKvStoreSnapshot(nullptr, [&](Status, std::unique_ptr<KvStoreSnapshot> snapshot) {
    taken.snapshot = std::move(snapshot);
  });
  Expect("GetKvStoreSnapshot", taken.snapshot != nullptr, true);
  taken.model = model_;
  return taken;
}

void MultiCheck::Keep(Chance& chance) {
  if (snapshots_.size() == kMaxSnapshots) {
    Snapshot& gone = snapshots_[chance.Below(kMaxSnapshots)];
    Expect("ReleaseKvStoreSnapshot", store_->ReleaseKvStoreSnapshot(std::move(gone.snapshot)),
           Status::SUCCESS);
    std::swap(gone, snapshots_.back());
    snapshots_.pop_back();
  }
  snapshots_.push_back(Take());
}

void MultiCheck::Read(const Snapshot& snapshot, Chance& chance) {
  if (chance.OneIn(10)) {
    ReadAll(snapshot, chance.Prefix());
    return;
  }
  CheckGet(*snapshot.snapshot, snapshot.model, chance.Key());
}

void MultiCheck::ReadAll(const Snapshot& snapshot, const std::string& prefix) {
  const Rows expected = snapshot.model.WithPrefix(prefix);
  Rows rows;
  snapshot.snapshot->GetEntries(ToBlob(prefix),
                                [&](Status, std::vector<Entry>& entries) { rows = ToRows(entries); });
  Expect("GetEntries", rows, expected);
  std::vector<Key> keys;
  snapshot.snapshot->GetKeys(ToBlob(prefix), [&](Status, std::vector<Key>& found) { keys = found; });
  Expect("GetKeys", keys.size(), expected.size());
  for (size_t i = 0; i < keys.size(); ++i) Expect("GetKeys", keys[i].ToString(), expected[i].first);
}

}  // namespace KORA::DistributedKv::Model
