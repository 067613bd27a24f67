#include "device_process.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <thread>
#include <utility>

namespace KORA::DistributedKv::Client::Cluster {

using Clock = std::chrono::steady_clock;

bool Becomes(const std::function<bool()>& condition, std::chrono::milliseconds limit) {
  for (const auto end = Clock::now() + limit; !condition();) {
    if (Clock::now() > end) return false;
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
  }
  return true;
}

DeviceProcess::DeviceProcess(const std::string& name, const std::filesystem::path& folder, Settings settings,
                             std::filesystem::path libraries)
    : folder_(folder / name), libraries_(std::move(libraries)) {
  std::filesystem::create_directories(folder_);
  settings.emplace("home", (folder_ / "home").string());
  settings.emplace("device.name", name);
  settings.emplace("device.type", "test");
  settings.emplace("memory.budget", std::to_string(8 << 20));
  std::ofstream file(folder_ / "settings");
  for (const auto& [setting, value] : settings) file << setting << '=' << value << '\n';
  file.close();
  Start();
}

void DeviceProcess::Start() {
  signal(SIGPIPE, SIG_IGN);
  int input[2];
  int output[2];
  if (pipe2(input, O_CLOEXEC) != 0 || pipe2(output, O_CLOEXEC) != 0) throw std::runtime_error("no pipe");
  pid_ = fork();
  if (pid_ == 0) {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    dup2(input[0], STDIN_FILENO);
    dup2(output[1], STDOUT_FILENO);
    dup2(open((folder_ / "log").c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600), STDERR_FILENO);
    setenv("KORA_DATA_CONFIG", (folder_ / "settings").c_str(), 1);
    setenv("KORA_LOG_LEVEL", "info", 1);
    if (!libraries_.empty()) setenv("LD_LIBRARY_PATH", libraries_.c_str(), 1);
    execl(CLUSTER_DEVICE, CLUSTER_DEVICE, nullptr);
    _exit(127);
  }
  close(input[0]);
  close(output[1]);
  input_ = input[1];
  output_ = output[0];
}

void DeviceProcess::Signal(int number) const {
  kill(pid_, number);
}

void DeviceProcess::Kill() {
  if (pid_ < 0) return;
  Signal(SIGKILL);
  Await();
}

std::string DeviceProcess::End() {
  close(std::exchange(input_, -1));
  const int status = Await();
  return status == 0 ? "" : std::to_string(status) + '\n' + Log();
}

std::string DeviceProcess::Log() const {
  std::ifstream log(folder_ / "log");
  return {std::istreambuf_iterator<char>(log), {}};
}

int DeviceProcess::Await() {
  int status = 0;
  waitpid(std::exchange(pid_, -1), &status, 0);
  if (input_ >= 0) close(std::exchange(input_, -1));
  close(std::exchange(output_, -1));
  buffer_.clear();
  said_.clear();
  return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

bool DeviceProcess::ReadLine(std::string& line, Time limit) {
  size_t end = 0;
  while ((end = buffer_.find('\n')) == std::string::npos) {
    const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(limit - Clock::now()).count();
    pollfd readable = {output_, POLLIN, 0};
    if (poll(&readable, 1, static_cast<int>(std::max<long>(left, 0))) <= 0) return false;
    char bytes[4096];
    const ssize_t size = read(output_, bytes, sizeof bytes);
    if (size <= 0) return false;
    buffer_.append(bytes, static_cast<size_t>(size));
  }
  line = buffer_.substr(0, end);
  buffer_.erase(0, end + 1);
  return true;
}

void DeviceProcess::Send(const std::string& command) const {
  const std::string text = command + '\n';
  if (write(input_, text.data(), text.size()) != static_cast<ssize_t>(text.size()))
    throw std::runtime_error("the device is gone; see " + (folder_ / "log").string());
}

std::string DeviceProcess::Ask(const std::string& command) {
  Send(command);
  for (std::string line; ReadLine(line, Clock::now() + kPatience);) {
    if (line.rfind("= ", 0) == 0) return line.substr(2);
    said_.push_back(line);
  }
  throw std::runtime_error("no answer to: " + command + "; see " + (folder_ / "log").string());
}

std::string DeviceProcess::Hear(const std::string& prefix, std::chrono::milliseconds limit) {
  const Time end = Clock::now() + limit;
  const auto fits = [&prefix](const std::string& line) { return line.rfind(prefix, 0) == 0; };
  for (std::string line;; said_.push_back(line)) {
    const auto found = std::find_if(said_.begin(), said_.end(), fits);
    if (found != said_.end()) {
      line = *found;
      said_.erase(found);
      return line;
    }
    if (!ReadLine(line, end)) return {};
  }
}

const std::string& DeviceProcess::Id() {
  if (id_.empty()) id_ = Ask("id");
  return id_;
}

}  // namespace KORA::DistributedKv::Client::Cluster
