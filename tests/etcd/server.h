// etcd servers of the test's own: on loopback, with a temporary folder, gone at the end.
#pragma once

#include <sys/types.h>

#include <filesystem>
#include <memory>
#include <string>
#include <vector>

namespace KORA::DistributedKv::Client::Etcd {

using Arguments = std::vector<std::string>;

// A folder that is removed at the end.
class TemporaryFolder {
 public:
  TemporaryFolder();
  TemporaryFolder(const TemporaryFolder&) = delete;
  TemporaryFolder& operator=(const TemporaryFolder&) = delete;
  ~TemporaryFolder();

  const std::filesystem::path& Path() const { return path_; }

 private:
  std::filesystem::path path_;
};

// Runs a program to its end and returns what it prints, errors included; fails the test if it fails.
std::string Run(const Arguments& command);

// A process that dies with this one.
class Process {
 public:
  // What it prints goes to the file.
  Process(const Arguments& command, const std::filesystem::path& log);
  Process(const Process&) = delete;
  Process& operator=(const Process&) = delete;
  ~Process() { Kill(); }

  void Signal(int number) const;
  // Returns when all of its threads stand still; SIGCONT has it go on.
  void Stop() const;
  bool IsAlive();
  void Kill();

 private:
  pid_t pid_ = -1;
};

struct ServerOptions {
  size_t members = 1;
  Arguments more = {};             // arguments of etcd
  std::string scheme = "http";     // of what clients connect to
  Arguments clientArguments = {};  // of etcdctl
};

// A cluster. The constructor returns when it takes requests.
class Servers {
 public:
  explicit Servers(ServerOptions options = {});

  // "host:port" of each member.
  const std::vector<std::string>& Endpoints() const { return endpoints_; }
  size_t Leader() const;

  void Kill(size_t member) { processes_[member]->Kill(); }
  void Start(size_t member);
  void Pause(size_t member) const;
  void Resume(size_t member) const;

  // Runs etcdctl against the first member that is alive.
  std::string Control(const Arguments& command) const;

 private:
  bool StartAll();
  Arguments CommandOf(size_t member) const;

  const ServerOptions options_;
  TemporaryFolder folder_;
  std::vector<std::string> endpoints_;
  std::vector<std::string> peers_;
  std::vector<std::unique_ptr<Process>> processes_;
};

}  // namespace KORA::DistributedKv::Client::Etcd
