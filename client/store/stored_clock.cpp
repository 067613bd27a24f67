#include "store/stored_clock.h"

#include <optional>

#include "common/limits.h"
#include "store/record.h"
#include "store/stored_entry.h"

namespace KORA::DistributedKv::Client {

namespace {

// How far the bound runs ahead of the versions: a second.
constexpr Version kAhead = Version{1000} << kVersionCounterBits;

}  // namespace

Status StoredClock::Load(const View& view) {
  std::optional<Version> bound = 0;
  bool longer = false;
  const Status status = view.Get(kClockKey, [&](Bytes stored) {
    bound = ParseVersion(stored);
    longer = stored.size() > sizeof(Version);
  });
  if (status == Status::DB_ERROR) return status;
  if (!bound) return longer ? EntryIsOfAnotherVersion("the clock") : EntryIsDamaged("the clock");
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
