// The way into libkora_data_etcd.so, which is loaded when the first hub is opened.
#pragma once

#include <functional>
#include <memory>
#include <string>

#include "common/cluster_settings.h"
#include "sync/hub.h"

namespace KORA::DistributedKv::Client::Etcd {

// Runs a function later, on the thread of the synchronisation; in the order of the calls, which may come from
// any thread.
using Post = std::function<void(std::function<void()>)>;

// Opens a hub, which the caller owns. Returns at once: whether the hub can be reached shows in its answers.
// All calls of the hub, and its end, come from the thread that `post` leads to; its end waits for a lease
// that is being revoked, no longer than the time-out of a request, and does not come from within an answer.
// Requests that are under way at the end of the hub are not answered; what was posted then does nothing when
// it runs. Null, and the reason in `error`: there is not enough memory or threads.
using OpenFunction = Sync::Hub*(const ClusterSettings& settings, Post post, std::string& error);
inline constexpr const char* kLibrary = "libkora_data_etcd.so";
inline constexpr const char* kOpenFunction = "KoraDataOpenEtcdHub";

// Loads the library, from the folder of this one, and opens a hub. Null: it failed, `error` says why.
std::unique_ptr<Sync::Hub> OpenHub(const ClusterSettings& settings, Post post, std::string& error);

}  // namespace KORA::DistributedKv::Client::Etcd
