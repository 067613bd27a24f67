#include "support/trace.h"

#include <gtest/gtest.h>

#include <cstdarg>
#include <cstdio>

#include "platform_log.h"

namespace fake {

Trace& Trace::Get() {
  static auto* trace = new Trace;  // outlives the static objects of the code under test, which log at exit
  return *trace;
}

void Trace::Start() {
  const std::lock_guard lock(mutex_);
  lines_.clear();
  on_ = true;
}

std::vector<std::string> Trace::Stop() {
  const std::lock_guard lock(mutex_);
  on_ = false;
  return std::move(lines_);
}

void Trace::Add(std::string line) {
  if (!On()) return;
  const std::lock_guard lock(mutex_);
  lines_.push_back(std::move(line));
}

void Trace::AddLog(int priority, const std::string& tag, std::string text) {
  for (size_t at = text.find('\n'); at != std::string::npos; at = text.find('\n', at))
    text.replace(at, 1, "\\n");
  if (const size_t colon = text.find(": "); colon != std::string::npos) text.erase(colon, 1);
  constexpr char kLetters[] = "??VDIWEF";
  const std::string line = std::string(1, kLetters[priority & 7]) + ":" + tag + ":" + text;
  if (Echoes()) std::puts(line.c_str());
  Add(line);
}

}  // namespace fake

// Stands in for the platform's log.
extern "C" int __android_log_print(int priority, const char* tag, const char* format, ...) {
  fake::Trace& trace = fake::Trace::Get();
  if (!trace.On() && !trace.Echoes()) return 0;
  EXPECT_EQ(std::string(format).rfind("%s: ", 0), 0U) << "a log format without its label: " << format;
  va_list arguments;
  va_start(arguments, format);
  char text[4096];
  std::vsnprintf(text, sizeof text, format, arguments);
  va_end(arguments);
  trace.AddLog(priority, tag, text);
  return 1;
}
