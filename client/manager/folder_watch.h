// Tells when something in a folder is deleted or moved away.
#pragma once

#include <filesystem>
#include <functional>

#include "common/files.h"

namespace KORA::DistributedKv::Client {

// A thread of the process that sleeps until something happens; it calls `changed` then, which looks for
// itself. Where the system has no watches left, nobody is told.
class FolderWatch {
 public:
  explicit FolderWatch(std::function<void()> changed);
  FolderWatch(const FolderWatch&) = delete;
  FolderWatch& operator=(const FolderWatch&) = delete;
  ~FolderWatch() = delete;  // in use until the process has ended

  // Any thread may call, also again for the same folder.
  void Add(const std::filesystem::path& folder) const;

 private:
  void Run() const;

  const std::function<void()> changed_;
  const FileDescriptor events_;
};

}  // namespace KORA::DistributedKv::Client
