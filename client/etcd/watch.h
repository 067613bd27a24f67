// A watch as a stream from etcd.
#pragma once

#include <memory>
#include <string>

#include "etcd/connection.h"
#include "sync/hub.h"

namespace KORA::DistributedKv::Client::Etcd {

struct WatchRange {
  std::string begin;
  std::string end;
  Sync::Revision from = 0;
};

// Begins to watch. What ends the stream ends the watch: the caller knows best from where to go on.
std::unique_ptr<Sync::Watch> OpenWatch(WatchRange range, Connection& connection,
                                       Sync::WatchListener& listener);

}  // namespace KORA::DistributedKv::Client::Etcd
