#include <exception>
#include <type_traits>
#include <utility>

#include "etcd/etcd_hub.h"
#include "etcd/hub.h"

using KORA::DistributedKv::Client::ClusterSettings;
namespace Etcd = KORA::DistributedKv::Client::Etcd;
namespace Sync = KORA::DistributedKv::Client::Sync;

extern "C" __attribute__((visibility("default"))) Sync::Hub* KoraDataOpenEtcdHub(
    const ClusterSettings& settings, Etcd::Post post, std::string& error) {
  try {
    return std::make_unique<Etcd::EtcdHub>(settings, std::move(post)).release();
  } catch (const std::exception& failure) {
    error = failure.what();
    return nullptr;
  }
}
static_assert(std::is_same_v<Etcd::OpenFunction, decltype(KoraDataOpenEtcdHub)>);
