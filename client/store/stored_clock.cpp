#include "store/stored_clock.h"

#include <optional>

#include "common/limits.h"
#include "common/log.h"
#include "store/record.h"

namespace KORA::DistributedKv::Client {

namespace {

// How far the bound runs ahead of the versions: a second.
constexpr Version kAhead = Version{1000} << kVersionCounterBits;

}  // namespace

Status StoredClock::Load(const View& view) {
  std::optional<Version> bound = 0;
  const Status status = view.Get(kClockKey, [&bound](Bytes stored) { bound = ParseVersion(stored); });
  if (status == Status::DB_ERROR) return status;
  if (!bound) {
    __android_log_print(KORA_LOG_ERROR, kLogTag, "the clock of a store is damaged");
    return Status::RECOVER_FAILED;
  }
  clock_.Advance(*bound);
  bound_ = *bound;
  return Status::SUCCESS;
}

Status StoredClock::Commit(Batch& batch) {
  Version bound = bound_;
  if (IsBeyondBound()) {
    bound = clock_.Last() + kAhead;
    const VersionBytes bytes = EncodeVersion(bound);
    batch.Put(kClockKey, {bytes.data(), bytes.size()}, {});
  }
  const Status status = batch.Commit();
  if (status == Status::SUCCESS) bound_ = bound;
  return status;
}

}  // namespace KORA::DistributedKv::Client
