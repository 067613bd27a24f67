#include "server.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <thread>

namespace KORA::DistributedKv::Client::Etcd {

namespace {

constexpr std::chrono::seconds kStartTime(30);

// Becomes the program, in a child process.
[[noreturn]] void Become(const Arguments& command, const char* log) {
  prctl(PR_SET_PDEATHSIG, SIGKILL);
  const int output = open(log, O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600);
  dup2(output, STDOUT_FILENO);
  dup2(output, STDERR_FILENO);
  std::vector<char*> arguments;
  for (const std::string& argument : command) arguments.push_back(const_cast<char*>(argument.c_str()));
  arguments.push_back(nullptr);
  execvp(arguments[0], arguments.data());
  _exit(127);
}

std::string ReadAll(const std::filesystem::path& file) {
  std::ifstream stream(file);
  return {std::istreambuf_iterator<char>(stream), {}};
}

// A port that is free now. Another process may take it before the server does; then others are tried.
int FreePort() {
  const int descriptor = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  socklen_t size = sizeof address;
  const bool bound = bind(descriptor, reinterpret_cast<sockaddr*>(&address), size) == 0 &&
                     getsockname(descriptor, reinterpret_cast<sockaddr*>(&address), &size) == 0;
  close(descriptor);
  if (!bound) throw std::runtime_error("no port is free");
  return ntohs(address.sin_port);
}

std::string Local() {
  return "127.0.0.1:" + std::to_string(FreePort());
}

std::string Name(size_t member) {
  return "member" + std::to_string(member);
}

}  // namespace

TemporaryFolder::TemporaryFolder() {
  std::string name = (std::filesystem::temp_directory_path() / "kora-etcd-test-XXXXXX").string();
  path_ = mkdtemp(name.data());
}

TemporaryFolder::~TemporaryFolder() {
  std::filesystem::remove_all(path_);
}

std::string Run(const Arguments& command) {
  const TemporaryFolder folder;
  const std::filesystem::path log = folder.Path() / "output";
  const pid_t pid = fork();
  if (pid == 0) Become(command, log.c_str());
  int status = 0;
  waitpid(pid, &status, 0);
  EXPECT_EQ(status, 0) << testing::PrintToString(command) << '\n' << ReadAll(log);
  return ReadAll(log);
}

Process::Process(const Arguments& command, const std::filesystem::path& log) : pid_(fork()) {
  if (pid_ == 0) Become(command, log.c_str());
}

void Process::Signal(int number) const {
  if (pid_ > 0) kill(pid_, number);
}

void Process::Stop() const {
  Signal(SIGSTOP);
  if (pid_ > 0) waitpid(pid_, nullptr, WUNTRACED);
}

bool Process::IsAlive() {
  if (pid_ > 0 && waitpid(pid_, nullptr, WNOHANG) != 0) pid_ = -1;
  return pid_ > 0;
}

void Process::Kill() {
  if (!IsAlive()) return;
  Signal(SIGKILL);
  waitpid(pid_, nullptr, 0);
  pid_ = -1;
}

Servers::Servers(ServerOptions options) : options_(std::move(options)) {
  for (int attempt = 0; attempt < 3; ++attempt) {
    if (StartAll()) return;
  }
  for (size_t i = 0; i < options_.members; ++i) ADD_FAILURE() << ReadAll(folder_.Path() / Name(i) / "log");
  throw std::runtime_error("etcd does not start");
}

bool Servers::StartAll() {
  processes_.clear();
  endpoints_.clear();
  peers_.clear();
  for (size_t i = 0; i < options_.members; ++i) {
    std::filesystem::remove_all(folder_.Path() / Name(i));
    std::filesystem::create_directory(folder_.Path() / Name(i));
    endpoints_.push_back(Local());
    peers_.push_back(Local());
  }
  processes_.resize(options_.members);
  for (size_t i = 0; i < options_.members; ++i) Start(i);
  const auto limit = std::chrono::steady_clock::now() + kStartTime;
  while (std::chrono::steady_clock::now() < limit) {
    size_t ready = 0;
    for (size_t i = 0; i < options_.members; ++i) {
      if (!processes_[i]->IsAlive()) return false;
      const std::string log = ReadAll(folder_.Path() / Name(i) / "log");
      ready += log.find("ready to serve client requests") != std::string::npos ? 1 : 0;
    }
    if (ready == options_.members) return true;
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
  }
  return false;
}

Arguments Servers::CommandOf(size_t member) const {
  std::string cluster;
  for (size_t i = 0; i < peers_.size(); ++i) {
    cluster += (i == 0 ? "" : ",") + Name(i) + "=http://" + peers_[i];
  }
  const std::string client = options_.scheme + "://" + endpoints_[member];
  const std::string peer = "http://" + peers_[member];
  Arguments command = {"etcd",
                       "--name=" + Name(member),
                       "--data-dir=" + (folder_.Path() / Name(member) / "data").string(),
                       "--listen-client-urls=" + client,
                       "--advertise-client-urls=" + client,
                       "--listen-peer-urls=" + peer,
                       "--initial-advertise-peer-urls=" + peer,
                       "--initial-cluster=" + cluster};
  command.insert(command.end(), options_.more.begin(), options_.more.end());
  return command;
}

void Servers::Start(size_t member) {
  processes_[member] = std::make_unique<Process>(CommandOf(member), folder_.Path() / Name(member) / "log");
}

void Servers::Pause(size_t member) const {
  processes_[member]->Stop();
}
void Servers::Resume(size_t member) const {
  processes_[member]->Signal(SIGCONT);
}

std::string Servers::Control(const Arguments& command) const {
  size_t member = 0;
  while (!processes_[member]->IsAlive()) ++member;
  Arguments whole = {"env",
                     "ETCDCTL_API=3",
                     "etcdctl",
                     "--dial-timeout=10s",
                     "--command-timeout=20s",
                     "--endpoints=" + options_.scheme + "://" + endpoints_[member]};
  whole.insert(whole.end(), options_.clientArguments.begin(), options_.clientArguments.end());
  whole.insert(whole.end(), command.begin(), command.end());
  return Run(whole);
}

size_t Servers::Leader() const {
  for (size_t i = 0; i < endpoints_.size(); ++i) {
    // name, member, version, size, whether it leads, ...
    const std::string status =
        Run({"env", "ETCDCTL_API=3", "etcdctl", "--endpoints=" + endpoints_[i], "endpoint", "status"});
    if (status.find(", true, ") != std::string::npos) return i;
  }
  throw std::runtime_error("nobody leads");
}

}  // namespace KORA::DistributedKv::Client::Etcd
