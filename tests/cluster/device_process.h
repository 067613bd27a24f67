// A device in a process of its own, with a home of its own.
#pragma once

#include <sys/types.h>

#include <chrono>
#include <deque>
#include <filesystem>
#include <functional>
#include <map>
#include <string>

namespace KORA::DistributedKv::Client::Cluster {

inline constexpr std::chrono::seconds kPatience(60);

// Whether the condition comes to hold in time.
bool Becomes(const std::function<bool()>& condition, std::chrono::milliseconds limit = kPatience);

class DeviceProcess {
 public:
  using Settings = std::map<std::string, std::string>;

  // `settings` as in a file that KORA_DATA_CONFIG names; `libraries`: a folder to look for libraries in
  // first.
  DeviceProcess(const std::string& name, const std::filesystem::path& folder, Settings settings,
                std::filesystem::path libraries = {});
  DeviceProcess(const DeviceProcess&) = delete;
  DeviceProcess& operator=(const DeviceProcess&) = delete;
  ~DeviceProcess() { Kill(); }

  void Start();
  void Signal(int number) const;
  void Kill();
  // Has it end in the ordinary way; returns nothing, or what went wrong.
  std::string End();

  // What the device answers to a command; throws if it does not in time. device.cpp has the commands.
  std::string Ask(const std::string& command);
  // Does not wait for the answer.
  void Send(const std::string& command) const;
  // The next line that begins like this, among those that it says by itself; empty: none came in time.
  std::string Hear(const std::string& prefix, std::chrono::milliseconds limit = kPatience);
  const std::string& Id();
  // Since its first start.
  std::string Log() const;

 private:
  using Time = std::chrono::steady_clock::time_point;

  bool ReadLine(std::string& line, Time limit);
  int Await();

  const std::filesystem::path folder_;
  const std::filesystem::path libraries_;
  pid_t pid_ = -1;
  int input_ = -1;   // the device's
  int output_ = -1;  // likewise
  std::string buffer_;
  std::deque<std::string> said_;
  std::string id_;
};

}  // namespace KORA::DistributedKv::Client::Cluster
