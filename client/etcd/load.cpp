#include <dlfcn.h>

#include <utility>

#include "etcd/etcd_hub.h"

namespace KORA::DistributedKv::Client::Etcd {

namespace {

// Stays loaded: threads of gRPC may still run when the last hub is gone.
OpenFunction* Load(std::string& error) {
  // NOLINTNEXTLINE(concurrency-mt-unsafe): dlerror's text is the calling thread's own
  const auto reason = [] { return std::string(dlerror()); };
  void* library = dlopen(kLibrary, RTLD_NOW | RTLD_LOCAL);
  void* function = library == nullptr ? nullptr : dlsym(library, kOpenFunction);
  if (function == nullptr) error = "the library for etcd can't be loaded: " + reason();
  return reinterpret_cast<OpenFunction*>(function);
}

}  // namespace

std::unique_ptr<Sync::Hub> OpenHub(const ClusterSettings& settings, Post post, std::string& error) {
  OpenFunction* open = Load(error);
  return std::unique_ptr<Sync::Hub>(open == nullptr ? nullptr : open(settings, std::move(post), error));
}

}  // namespace KORA::DistributedKv::Client::Etcd
