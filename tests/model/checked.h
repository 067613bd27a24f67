// A store beside its model: what the checks of all kinds of stores have in common.
#pragma once

#include <memory>
#include <string>
#include <type_traits>
#include <utility>

#include "contract/distributed_kv_data_manager.h"
#include "model.h"

namespace KORA::DistributedKv::Model {

template <typename Store>
class Checked {
 protected:
  Checked(DistributedKvDataManager& manager, Options options, std::string name)
      : manager_(manager), options_(std::move(options)), name_(std::move(name)) {
    Open();
  }

  void Open() {
    const auto take = [this](Status, std::unique_ptr<Store> store) { store_ = std::move(store); };
    if constexpr (std::is_same_v<Store, SingleKvStore>) {
      manager_.GetSingleKvStore(options_, {"model"}, {name_}, take);
    } else {
      manager_.GetKvStore(options_, {"model"}, {name_}, take);
    }
    Expect("the opening", store_ != nullptr, true);
  }
  // What was not committed is gone.
  void Close() {
    store_.reset();
    model_.Rollback();
  }

  // Of the store or a snapshot, with the model of that.
  template <typename Source>
  static void CheckGet(Source& source, const StoreModel& model, const std::string& key) {
    Value value;
    const Status status = source.Get(ToBlob(key), value);
    const auto found = model.Now().find(key);
    const bool there = found != model.Now().end();
    Expect("Get", status, there ? Status::SUCCESS : Status::KEY_NOT_FOUND);
    if (there) Expect("Get", value.ToString(), found->second);
  }

  std::unique_ptr<Store> store_;
  StoreModel model_;

 private:
  DistributedKvDataManager& manager_;
  const Options options_;
  const std::string name_;
};

}  // namespace KORA::DistributedKv::Model
