#include "cluster/sync_number.h"

#include <utility>

namespace KORA::DistributedKv::Client::Cluster {

namespace {

thread_local SyncNumber t_next = 0;
thread_local SyncNumber t_completed = 0;

}  // namespace

void NumberNextSync(SyncNumber number) {
  t_next = number;
}

SyncNumber TakeSyncNumber() {
  return std::exchange(t_next, 0);
}

SyncNumber CompletedSync() {
  return t_completed;
}

SyncCompletionScope::SyncCompletionScope(SyncNumber number) {
  t_completed = number;
}

SyncCompletionScope::~SyncCompletionScope() {
  t_completed = 0;
}

}  // namespace KORA::DistributedKv::Client::Cluster
