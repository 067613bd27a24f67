// The platform log as this project uses it. On hosts without one, platform_log.cpp supplies it.
#pragma once

enum {
  KORA_LOG_DEBUG = 3,
  KORA_LOG_INFO = 4,
  KORA_LOG_WARN = 5,
  KORA_LOG_ERROR = 6,
};

extern "C" {

// Writes one line to the log; any thread may call. `format` and its arguments are those of printf. Returns a
// positive number when the line was written, 0 when its level is off, a negative number when it could not be
// written.
// NOLINTNEXTLINE(bugprone-reserved-identifier): the platform's name
int __android_log_print(int priority, const char* tag, const char* format, ...)
    __attribute__((format(printf, 3, 4)));
}
