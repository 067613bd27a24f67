#include "manager/exit_handler.h"

#include <unistd.h>

#include <chrono>
#include <cstdlib>

#include "cluster/service.h"
#include "common/guard.h"
#include "manager/store_registry.h"
#include "notify/callback_queue.h"

namespace KORA::DistributedKv::Client {

namespace {

pid_t ProcessWithStores() {
  static const pid_t process = getpid();
  return process;
}

// Threads that cannot be ended may still be inside an operation: daemon threads of a virtual machine, for
// one.
void EndClient() {
  if (InForkedChild()) return;
  // First, whichever was begun first: it goes on as if its stores were open.
  Cluster::Service::EndRunning();
  Guard([] {
    constexpr auto kPatience = std::chrono::seconds(5);
    const Deadline deadline = std::chrono::steady_clock::now() + kPatience;
    CallbackQueue::Instance().Stop(deadline);
    StoreRegistry::Instance().CloseAll(deadline);
  });
}

}  // namespace

void CloseStoresAtExit() {
  static const bool registered = ProcessWithStores() != 0 && std::atexit(EndClient) == 0;
  static_cast<void>(registered);
}

bool InForkedChild() {
  return getpid() != ProcessWithStores();
}

}  // namespace KORA::DistributedKv::Client
