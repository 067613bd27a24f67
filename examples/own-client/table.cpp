#include "table.h"

#include <algorithm>
#include <list>
#include <utility>

#include "snapshot.h"

namespace OwnClient {
namespace {

using KORA::DistributedKv::ChangeNotification;
using KORA::DistributedKv::KvStoreType;

constexpr char kThisDevice[] = "local";

// The contract has no empty keys, and a value has at least its type byte.
bool IsWritable(const Entry& entry) {
  return entry.key.Size() > 0 && entry.value.Size() > 0;
}

}  // namespace

Status Table::Get(const Key& key, Value& value) const {
  return Locked([&] {
    const auto found = records_.find(key.Data());
    if (found == records_.end()) return Status::KEY_NOT_FOUND;
    value = Value(found->second);
    return Status::SUCCESS;
  });
}

Status Table::Entries(const Key& prefix, std::vector<Entry>& entries) const {
  return Locked([&] {
    entries = EntriesWithPrefix(records_, prefix.Data());
    return Status::SUCCESS;
  });
}

Status Table::Copy(std::shared_ptr<const Records>& records) const {
  return Locked([&] {
    records = std::make_shared<const Records>(records_);
    return Status::SUCCESS;
  });
}

Status Table::Put(const std::vector<Entry>& entries) {
  return Locked([&] {
    if (!std::all_of(entries.begin(), entries.end(), IsWritable)) return Status::INVALID_ARGUMENT;
    std::vector<Change> changes;
    changes.reserve(entries.size());
    for (const Entry& entry : entries) changes.push_back({entry.key.Data(), entry.value.Data()});
    return Apply(std::move(changes));
  });
}

Status Table::Delete(const std::vector<Key>& keys) {
  return Locked([&] {
    std::vector<Change> changes;
    changes.reserve(keys.size());
    for (const Key& key : keys) changes.push_back({key.Data(), std::nullopt});
    return Apply(std::move(changes));
  });
}

Status Table::Clear() {
  return Locked([&] {
    std::vector<Change> changes;
    for (const auto& [key, value] : records_) changes.push_back({key, std::nullopt});
    return Apply(std::move(changes));
  });
}

Status Table::Apply(std::vector<Change> changes) {
  Before before;
  try {
    for (Change& change : changes) {
      const auto found = records_.find(change.key);
      before.try_emplace(change.key, found == records_.end() ? std::nullopt : std::optional(found->second));
      if (change.value) {
        records_[change.key] = std::move(*change.value);
      } else if (found != records_.end()) {
        records_.erase(found);
      }
    }
  } catch (...) {
    Restore(before);
    throw;
  }
  if (transaction_) {
    transaction_->merge(before);  // keeps what was there first: the state before the transaction
  } else {
    Announce(before);
  }
  return Status::SUCCESS;
}

Status Table::StartTransaction() {
  return Locked([&] {
    if (transaction_) return Status::ERROR;
    transaction_.emplace();
    return Status::SUCCESS;
  });
}

Status Table::Commit() {
  return EndTransaction(&Table::Announce);
}

Status Table::Rollback() {
  return EndTransaction(&Table::Restore);
}

Status Table::EndTransaction(void (Table::*finish)(const Before&)) {
  return Locked([&] {
    if (!transaction_) return Status::ERROR;
    (this->*finish)(*transaction_);
    transaction_.reset();
    return Status::SUCCESS;
  });
}

void Table::Restore(const Before& before) {
  for (const auto& [key, value] : before) {
    if (value) {
      records_[key] = *value;
    } else {
      records_.erase(key);
    }
  }
}

// Posted under the lock, so that notifications stand in the queue in the order of the commits.
void Table::Announce(const Before& before) {
  if (subscriptions_.empty()) return;
  std::list<Entry> inserted;
  std::list<Entry> updated;
  std::list<Entry> deleted;
  for (const auto& [key, value] : before) {
    const auto now = records_.find(key);
    if (now == records_.end()) {
      if (value) deleted.push_back(MakeEntry(key, *value));
    } else {
      (value ? updated : inserted).push_back(MakeEntry(key, now->second));
    }
  }
  if (inserted.empty() && updated.empty() && deleted.empty()) return;

  const auto change = std::make_shared<const ChangeNotification>(std::move(inserted), std::move(updated),
                                                                 std::move(deleted), kThisDevice);
  const bool multi = options_.kvStoreType == KvStoreType::MULTI_VERSION;
  const auto view = multi ? std::make_shared<const Records>(records_) : nullptr;
  Notifier::Instance().Post([change, view, subscribers = subscriptions_] {
    for (const auto& subscriber : subscribers) {
      if (!subscriber->active) continue;
      if (view) {
        subscriber->observer->OnChange(*change, std::make_unique<Snapshot>(view));
      } else {
        subscriber->observer->OnChange(*change);
      }
    }
  });
}

Status Table::Subscribe(SubscribeType type, const std::shared_ptr<KvStoreObserver>& observer,
                        const void* owner) {
  return Locked([&] {
    if (observer == nullptr) return Status::INVALID_ARGUMENT;
    // All that there is are changes of this device.
    if (type != SubscribeType::LOCAL && type != SubscribeType::ALL) return Status::NOT_SUPPORT;
    for (const auto& subscription : subscriptions_) {
      if (subscription->observer == observer) return Status::STORE_ALREADY_SUBSCRIBE;
    }
    subscriptions_.push_back(std::make_shared<Subscription>(observer, owner));
    return Status::SUCCESS;
  });
}

Status Table::UnSubscribe(const std::shared_ptr<KvStoreObserver>& observer) {
  const bool ended = EndSubscriptions([&](const Subscription& each) { return each.observer == observer; });
  return ended ? Status::SUCCESS : Status::STORE_NOT_SUBSCRIBE;
}

void Table::HandleOpened() {
  const std::lock_guard lock(mutex_);
  ++handles_;
}

void Table::HandleClosed(const void* owner) {
  EndSubscriptions([&](const Subscription& each) { return each.owner == owner; });
  Locked([&] {
    if (--handles_ > 0 || !transaction_) return Status::SUCCESS;
    Restore(*transaction_);
    transaction_.reset();
    return Status::SUCCESS;
  });
}

bool Table::IsOpen() const {
  const std::lock_guard lock(mutex_);
  return handles_ > 0;
}

}  // namespace OwnClient
