// Tells the calls of Sync apart. A completion goes through a callback that names devices alone, so a program
// that must know which of its calls has ended numbers them. The functions are about the calling thread.
#pragma once

#include <cstdint>

namespace KORA::DistributedKv::Client::Cluster {

// 0 stands for none.
using SyncNumber = int64_t;

// Gives a number to the next call.
void NumberNextSync(SyncNumber number);
// The number for the call that begins now; later ones have none.
SyncNumber TakeSyncNumber();

// The number of the call whose end is being told.
SyncNumber CompletedSync();

// While it lives, the end of that call is being told.
class SyncCompletionScope {
 public:
  explicit SyncCompletionScope(SyncNumber number);
  SyncCompletionScope(const SyncCompletionScope&) = delete;
  SyncCompletionScope& operator=(const SyncCompletionScope&) = delete;
  ~SyncCompletionScope();
};

}  // namespace KORA::DistributedKv::Client::Cluster
