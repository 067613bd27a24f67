// The platform log for hosts that have none: one line a message on standard error, such as
//   2026-03-01 12:34:56.789 W UserKvMgrJNI 4242: NativePut: ...
// with local time, priority letter, tag and kernel thread number.
#include "platform_log.h"

#include <strings.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <iterator>

namespace {

constexpr int kLevelUnknown = 0;  // below every priority, so the first message goes on to read the setting
constexpr int kLevelOff = 8;

struct LevelName {
  const char* name;
  int level;
};
constexpr LevelName kLevelNames[] = {
    {"verbose", 2}, {"debug", 3}, {"info", 4}, {"warn", 5}, {"error", 6}, {"fatal", 7}, {"off", kLevelOff},
};

std::atomic<int> g_level{kLevelUnknown};

int ReadLevel() {
  const char* setting =
      std::getenv("KORA_LOG_LEVEL");  // NOLINT(concurrency-mt-unsafe): read once, never written
  if (setting == nullptr) return KORA_LOG_WARN;
  for (const auto& [name, level] : kLevelNames) {
    if (strcasecmp(setting, name) == 0) return level;
  }
  std::fprintf(stderr, "KORA_LOG_LEVEL: '%s' is not one of verbose, debug, info, warn, error, fatal, off\n",
               setting);
  return KORA_LOG_WARN;
}

int Level() {
  int level = g_level.load(std::memory_order_relaxed);
  if (level == kLevelUnknown) {
    level = ReadLevel();
    g_level.store(level, std::memory_order_relaxed);
  }
  return level;
}

char PriorityLetter(int priority) {
  constexpr char kLetters[] = "??VDIWEF";
  return priority >= 0 && priority < static_cast<int>(std::size(kLetters)) - 1 ? kLetters[priority] : '?';
}

// Writes "<date> <time> <letter> <tag> <thread>: " and returns its length.
size_t WriteHead(char* out, size_t size, int priority, const char* tag) {
  timespec now{};
  clock_gettime(CLOCK_REALTIME, &now);
  tm local{};
  localtime_r(&now.tv_sec, &local);
  char date[32];
  std::strftime(date, sizeof date, "%Y-%m-%d %H:%M:%S", &local);
  const int length = std::snprintf(out, size, "%s.%03ld %c %s %ld: ", date, now.tv_nsec / 1'000'000,
                                   PriorityLetter(priority), tag, syscall(SYS_gettid));
  return std::min(static_cast<size_t>(std::max(length, 0)), size - 1);
}

}  // namespace

// NOLINTNEXTLINE(bugprone-reserved-identifier)
extern "C" int __android_log_print(int priority, const char* tag, const char* format, ...) {
  const int level = g_level.load(std::memory_order_relaxed);
  if (priority < level || (level == kLevelUnknown && priority < Level())) return 0;

  constexpr size_t kLineSize = 4096;  // a longer message is cut
  char line[kLineSize];
  size_t length = WriteHead(line, sizeof line - 1, priority, tag);
  va_list arguments;
  va_start(arguments, format);
  const int body = std::vsnprintf(line + length, sizeof line - 1 - length, format, arguments);
  va_end(arguments);
  if (body < 0) return body;
  length = std::min(length + static_cast<size_t>(body), sizeof line - 2);

  // One line a message: line breaks inside become blanks, those at the end go.
  while (length > 0 && line[length - 1] == '\n') --length;
  std::replace(line, line + length, '\n', ' ');
  line[length++] = '\n';
  return static_cast<int>(write(STDERR_FILENO, line, length));
}
