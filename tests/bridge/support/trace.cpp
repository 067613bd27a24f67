#include "support/trace.h"

#include <gtest/gtest.h>

#include <cstdarg>
#include <cstdio>
#include <tuple>

#include "platform_log.h"

namespace fake {
namespace {

std::string Escaped(std::string text) {
  for (size_t at = text.find('\n'); at != std::string::npos; at = text.find('\n', at))
    text.replace(at, 1, "\\n");
  return text;
}

}  // namespace

bool Message::operator<(const Message& other) const {
  return std::tie(priority, tag, label, format) <
         std::tie(other.priority, other.tag, other.label, other.format);
}

std::string DescribeLogLine(int priority, const std::string& tag, const std::string& text) {
  constexpr char kLetters[] = "??VDIWEF";
  std::string body = Escaped(text);
  if (const size_t colon = body.find(": "); colon != std::string::npos) body.erase(colon, 1);
  return std::string(1, kLetters[priority & 7]) + ":" + tag + ":" + body;
}

std::string Describe(const Message& message) {
  return DescribeLogLine(message.priority, message.tag, message.label + message.format.substr(2));
}

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

void Trace::AddLog(Message message, const std::string& text) {
  const std::string line = DescribeLogLine(message.priority, message.tag, text);
  if (Echoes()) std::puts(line.c_str());
  const std::lock_guard lock(mutex_);
  if (On()) lines_.push_back(line);
  seen_.insert(std::move(message));
}

std::set<Message> Trace::SeenMessages() {
  const std::lock_guard lock(mutex_);
  return seen_;
}

}  // namespace fake

// Stands in for the platform's log.
extern "C" int __android_log_print(int priority, const char* tag, const char* format, ...) {
  fake::Trace& trace = fake::Trace::Get();
  if (!trace.On() && !trace.Echoes()) return 0;
  va_list arguments;
  va_start(arguments, format);
  va_list again;
  va_copy(again, arguments);
  char text[4096];
  std::vsnprintf(text, sizeof text, format, arguments);
  va_end(arguments);
  fake::Message message{priority, tag, "", format};
  if (message.format.rfind("%s: ", 0) == 0) {
    message.label = va_arg(again, const char*);
  } else {
    ADD_FAILURE() << "a log format without its label: " << format;
  }
  va_end(again);
  trace.AddLog(std::move(message), text);
  return 1;
}
