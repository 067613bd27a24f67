#include "manager/folder_watch.h"

#include <sys/inotify.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <thread>
#include <utility>

#include "common/guard.h"
#include "common/log.h"

namespace KORA::DistributedKv::Client {

FolderWatch::FolderWatch(std::function<void()> changed)
    : changed_(std::move(changed)), events_(inotify_init1(IN_CLOEXEC)) {
  if (events_) std::thread([this] { Run(); }).detach();
}

void FolderWatch::Add(const std::filesystem::path& folder) const {
  constexpr uint32_t kGone = IN_DELETE | IN_MOVED_FROM | IN_DELETE_SELF | IN_MOVE_SELF | IN_ONLYDIR;
  if (events_ && inotify_add_watch(events_.Number(), folder.c_str(), kGone) >= 0) return;
  __android_log_print(KORA_LOG_INFO, kLogTag, "%s is not watched: %s", folder.c_str(),
                      LastError().message().c_str());
}

void FolderWatch::Run() const {
  constexpr size_t kEventsSize = 4096;
  alignas(inotify_event) std::array<char, kEventsSize> events{};
  for (;;) {
    const ssize_t size = read(events_.Number(), events.data(), events.size());
    if (size < 0 && errno != EINTR) return;
    Guard([this] { changed_(); });
  }
}

}  // namespace KORA::DistributedKv::Client
