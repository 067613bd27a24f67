// One random write or step of a transaction, on either kind of store.
#pragma once

#include "model.h"

namespace KORA::DistributedKv::Model {

template <typename Store>
void Put(Store& store, StoreModel& model, Chance& chance) {
  const std::string key = chance.Key();
  const std::string value = chance.Value();
  Expect("Put", store.Put(ToBlob(key), ToBlob(value)), Status::SUCCESS);
  model.Now()[key] = value;
}

template <typename Store>
void Delete(Store& store, StoreModel& model, Chance& chance) {
  const std::string key = chance.Key();
  Expect("Delete", store.Delete(ToBlob(key)), Status::SUCCESS);
  model.Now().erase(key);
}

template <typename Store>
void PutBatch(Store& store, StoreModel& model, Chance& chance) {
  std::vector<Entry> entries;
  Map after = model.Now();
  for (uint32_t left = chance.Below(12); left > 0; --left) {
    const std::string key = chance.Key();
    const std::string value = chance.Value();
    entries.emplace_back(ToBlob(key), ToBlob(value));
    after[key] = value;
  }
  const bool refused = chance.OneIn(20);
  if (refused) entries.emplace_back(ToBlob("key"), Blob());
  Expect("PutBatch", store.PutBatch(entries), refused ? Status::INVALID_ARGUMENT : Status::SUCCESS);
  if (!refused) model.Now() = std::move(after);
}

template <typename Store>
void DeleteBatch(Store& store, StoreModel& model, Chance& chance) {
  std::vector<Key> keys;
  for (uint32_t left = chance.Below(6); left > 0; --left) {
    const std::string key = chance.Key();
    keys.push_back(ToBlob(key));
    model.Now().erase(key);
  }
  Expect("DeleteBatch", store.DeleteBatch(keys), Status::SUCCESS);
}

// Starts or ends a transaction; sometimes the wrong one of both.
template <typename Store>
void StepTransaction(Store& store, StoreModel& model, Chance& chance) {
  const bool open = model.InTransaction();
  if (open == chance.OneIn(10)) {
    Expect("StartTransaction", store.StartTransaction(), open ? Status::ERROR : Status::SUCCESS);
    if (!open) model.Start();
  } else if (chance.OneIn(3)) {
    Expect("Rollback", store.Rollback(), open ? Status::SUCCESS : Status::ERROR);
    model.Rollback();
  } else {
    Expect("Commit", store.Commit(), open ? Status::SUCCESS : Status::ERROR);
    if (open) model.Commit();
  }
}

template <typename Store>
void Write(Store& store, StoreModel& model, Chance& chance) {
  const uint32_t kind = chance.Below(100);
  if (kind < 45) {
    Put(store, model, chance);
  } else if (kind < 70) {
    Delete(store, model, chance);
  } else if (kind < 80) {
    PutBatch(store, model, chance);
  } else if (kind < 90) {
    DeleteBatch(store, model, chance);
  } else {
    StepTransaction(store, model, chance);
  }
}

}  // namespace KORA::DistributedKv::Model
