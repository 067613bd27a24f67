// What native code did, in order: JNI calls, client calls and log lines in one list of texts.
#pragma once

#include <atomic>
#include <mutex>
#include <set>
#include <string>
#include <vector>

namespace fake {

// One row of the table of messages: a format with the label that fills its leading "%s".
struct Message {
  int priority;
  std::string tag;
  std::string label;
  std::string format;

  bool operator<(const Message& other) const;
};

// "E:Tag:Label text", the form in which log lines stand in the trace; line breaks are written as \n.
std::string DescribeLogLine(int priority, const std::string& tag, const std::string& text);
std::string Describe(const Message& message);

// Any thread may add. Off, it takes no lock, so that it adds no order between threads that race.
class Trace {
 public:
  static Trace& Get();

  void Start();
  std::vector<std::string> Stop();
  bool On() const { return on_.load(std::memory_order_relaxed); }
  void Add(std::string line);

  void AddLog(Message message, const std::string& text);
  // Every message that was logged while a trace was on, since the process began.
  std::set<Message> SeenMessages();
  // Log lines go to standard output as well: for child processes that are watched at their exit.
  void EchoLog() { echo_ = true; }
  bool Echoes() const { return echo_; }

 private:
  std::atomic<bool> on_{false};
  std::atomic<bool> echo_{false};
  std::mutex mutex_;
  std::vector<std::string> lines_;
  std::set<Message> seen_;
};

}  // namespace fake
