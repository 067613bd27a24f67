// What native code did, in order: JNI calls, client calls and log lines in one list of texts.
#pragma once

#include <atomic>
#include <mutex>
#include <string>
#include <vector>

namespace fake {

// Any thread may add. Off, it takes no lock, so that it adds no order between threads that race.
class Trace {
 public:
  static Trace& Get();

  void Start();
  std::vector<std::string> Stop();
  bool On() const { return on_.load(std::memory_order_relaxed); }
  void Add(std::string line);

  // As "E:Tag:Label text"; line breaks are written as \n.
  void AddLog(int priority, const std::string& tag, std::string text);
  // Log lines go to standard output as well: for child processes that are watched at their exit.
  void EchoLog() { echo_ = true; }
  bool Echoes() const { return echo_; }

 private:
  std::atomic<bool> on_{false};
  std::atomic<bool> echo_{false};
  std::mutex mutex_;
  std::vector<std::string> lines_;
};

}  // namespace fake
