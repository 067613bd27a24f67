#include <grpc/support/log.h>

#include <cstdlib>
#include <exception>
#include <type_traits>
#include <utility>

#include "etcd/etcd_hub.h"
#include "etcd/hub.h"
#include "platform_log.h"

using KORA::DistributedKv::Client::ClusterSettings;
namespace Etcd = KORA::DistributedKv::Client::Etcd;
namespace Sync = KORA::DistributedKv::Client::Sync;

namespace {

// gRPC would write to standard error. What matters of it comes with the answers, too.
void Log(gpr_log_func_args* line) {
  const int priority = line->severity == GPR_LOG_SEVERITY_ERROR ? KORA_LOG_INFO : KORA_LOG_DEBUG;
  __android_log_print(priority, "KoraEtcd", "gRPC: %s", line->message);
}

// Unless somebody wants to see it there.
void TakeLog() {
  // NOLINTNEXTLINE(concurrency-mt-unsafe): nothing here writes the environment
  static const bool taken = std::getenv("GRPC_VERBOSITY") == nullptr;
  if (taken) gpr_set_log_function(Log);
}

}  // namespace

extern "C" __attribute__((visibility("default"))) Sync::Hub* KoraDataOpenEtcdHub(
    const ClusterSettings& settings, Etcd::Post post, std::string& error) {
  try {
    TakeLog();
    return std::make_unique<Etcd::EtcdHub>(settings, std::move(post)).release();
  } catch (const std::exception& failure) {
    error = failure.what();
    return nullptr;
  }
}
static_assert(std::is_same_v<Etcd::OpenFunction, decltype(KoraDataOpenEtcdHub)>);
