// Which devices there are.
#pragma once

#include <string>

namespace KORA::DistributedKv::Client::Sync {

enum class Whereabouts { kUnknown, kOffline, kOnline };

class Directory {
 public:
  Directory() = default;
  Directory(const Directory&) = delete;
  Directory& operator=(const Directory&) = delete;
  virtual ~Directory() = default;

  // kUnknown: was never seen, as far as is known here.
  virtual Whereabouts Find(const std::string& device) const = 0;
};

}  // namespace KORA::DistributedKv::Client::Sync
