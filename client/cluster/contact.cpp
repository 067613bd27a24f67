#include "cluster/contact.h"

#include <utility>

#include "common/log.h"
#include "notify/death_notice.h"

namespace KORA::DistributedKv::Client::Cluster {

void Contact::Take(bool reached, Sync::Timers& timers) {
  const bool before = std::exchange(reached_, reached);
  if (reached) loss_.Renew();
  if (before && !reached && deathAfter_ > 0) {
    timers.After(deathAfter_, loss_.Guard([] {
      __android_log_print(KORA_LOG_WARN, kLogTag, "the hub is lost; synchronisation resumes when it is back");
      DeathNotice::Instance().Announce();
    }));
  }
  const std::lock_guard<std::mutex> lock(mutex_);
  known_ = true;
  changed_.notify_all();
}

void Contact::AwaitFirst(std::chrono::milliseconds atMost) {
  std::unique_lock<std::mutex> lock(mutex_);
  changed_.wait_for(lock, atMost, [this] { return known_; });
}

}  // namespace KORA::DistributedKv::Client::Cluster
