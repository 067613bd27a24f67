#include "store/checks.h"

#include "common/limits.h"
#include "common/log.h"

namespace KORA::DistributedKv::Client {

namespace {

Status Refuse(const char* what, size_t size, const char* unit, size_t limit) {
  __android_log_print(KORA_LOG_WARN, kLogTag, "refused: %s of %zu %s; the limit is 1 to %zu", what, size,
                      unit, limit);
  return Status::INVALID_ARGUMENT;
}

Status CheckValue(const Value& value) {
  if (value.Size() >= 1 && value.Size() <= kMaxValueSize) return Status::SUCCESS;
  return Refuse("a value", value.Size(), "bytes", kMaxValueSize);
}

// The first answer of `check` that is not SUCCESS.
template <typename Items, typename Check>
Status CheckAll(const Items& items, Check check) {
  for (const auto& item : items) {
    if (const Status status = check(item); status != Status::SUCCESS) return status;
  }
  return Status::SUCCESS;
}

}  // namespace

Status CheckKey(const Key& key) {
  if (key.Size() >= 1 && key.Size() <= kMaxKeySize) return Status::SUCCESS;
  return Refuse("a key", key.Size(), "bytes", kMaxKeySize);
}

Status CheckKeys(const std::vector<Key>& keys) {
  return CheckAll(keys, CheckKey);
}

Status CheckEntry(const Key& key, const Value& value) {
  const Status status = CheckKey(key);
  return status == Status::SUCCESS ? CheckValue(value) : status;
}

Status CheckEntries(const std::vector<Entry>& entries) {
  return CheckAll(entries, [](const Entry& entry) { return CheckEntry(entry.key, entry.value); });
}

Status CheckBatch(size_t bytes) {
  return bytes <= kMaxBatchSize ? Status::SUCCESS
                                : Refuse("a batch or transaction", bytes, "bytes", kMaxBatchSize);
}

}  // namespace KORA::DistributedKv::Client
