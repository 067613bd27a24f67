// What takes more than one process.
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <map>

#include "support.h"

namespace KORA::DistributedKv {
namespace {

namespace fs = std::filesystem;

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr bool kSanitized = true;
#elif defined(__has_feature)
constexpr bool kSanitized = __has_feature(address_sanitizer) || __has_feature(thread_sanitizer);
#else
constexpr bool kSanitized = false;
#endif

// A child that runs in this test's home; what it has printed comes with Output and Line.
class Child {
 public:
  explicit Child(const std::string& mode, const std::string& environment = "") {
    const std::string command = environment + " timeout 100 " CLIENT_CHILD " " + mode + " 2>&1";
    output_ = popen(command.c_str(), "r");
  }
  Child(const Child&) = delete;
  Child& operator=(const Child&) = delete;
  ~Child() {
    if (output_ != nullptr) pclose(output_);
  }

  std::string Line() {
    char line[1000] = "";
    return fgets(line, sizeof line, output_) == nullptr ? "" : line;
  }

  // The number that it prints; what it logs comes in front of that.
  int Number() {
    std::string last;
    for (std::string line = Line(); !line.empty(); line = Line()) last = line;
    return std::stoi(last);
  }

  // Its exit status, or 128 + the signal; waits for its end.
  int Result() {
    while (!Line().empty()) continue;
    const int status = pclose(std::exchange(output_, nullptr));
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
  }

 private:
  FILE* output_;
};

class Processes : public ClientTest {
 protected:
  const AppId childApp_{"app"};
};

TEST_F(Processes, ASecondOneIsTurnedAwayAtOnce) {
  Child holder("hold");
  const pid_t pid = std::stoi(holder.Line());
  const auto start = std::chrono::steady_clock::now();
  Child second("status");
  EXPECT_NE(second.Line().find("another process has it open"), std::string::npos);
  EXPECT_EQ(second.Line(), "27459593\n");
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(kSanitized ? 10 : 2));
  EXPECT_EQ(manager_.DeleteKvStore(childApp_, {"store"}), Status::DB_ERROR);

  // Killed, it leaves what had returned, and nothing of the open transaction.
  kill(pid, SIGKILL);
  holder.Result();
  manager_.GetSingleKvStore(Options(), childApp_, {"store"},
                            [](Status, std::unique_ptr<SingleKvStore> store) {
                              ASSERT_NE(store, nullptr);
                              EXPECT_EQ(List(*store), (Pairs{{"held", "value"}}));
                            });
}

TEST_F(Processes, FilesBelongToTheUserAlone) {
  for (const char* mode : {"umask-open", "umask-closed"}) {
    fs::remove_all(Home());
    EXPECT_EQ(Child(mode, "KORA_DATA_MEMORY_BUDGET=8388608").Result(), 0);
    int files = 0;
    for (const auto& entry : fs::recursive_directory_iterator(Home())) {
      EXPECT_EQ(entry.status().permissions(),
                entry.is_directory() ? fs::perms::owner_all : fs::perms::owner_read | fs::perms::owner_write)
          << entry.path();
      files += entry.is_regular_file() ? 1 : 0;
    }
    EXPECT_EQ(fs::status(Home()).permissions(), fs::perms::owner_all);
    EXPECT_GT(files, 7);  // tables among them
  }
}

TEST_F(Processes, EndWhileThreadsAreBusy) {
  const char* rounds = std::getenv("KORA_TEST_EXITS");
  const int kRounds = rounds == nullptr ? 6 : std::atoi(rounds);
  for (int i = 0; i < kRounds; ++i) {
    const auto start = std::chrono::steady_clock::now();
    const std::string mode = i % 3 == 2 ? "end-in-observer" : "end-while-busy";
    Child child(mode, "KORA_LOG_LEVEL=off");
    std::string output;
    for (std::string line = child.Line(); !line.empty(); line = child.Line()) output += line;
    EXPECT_EQ(child.Result(), 0) << mode;
    EXPECT_EQ(output, "") << mode;
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(kSanitized ? 30 : 7)) << mode;
  }
  manager_.GetSingleKvStore(
      Options(), childApp_, {"store"},
      [](Status status, std::unique_ptr<SingleKvStore>) { EXPECT_EQ(status, Status::SUCCESS); });
}

TEST_F(Processes, ForkedCopyLeavesTheStoreAlone) {
  EXPECT_EQ(Child("fork").Result(), 0);
  EXPECT_EQ(Child("fork").Result(), 0);
}

// With what a crash has left in the log, by setting and on a file system that lets nobody write. Nobody looks
// for the hub, which would be said if it can't be found.
TEST_F(Processes, AReadOnlyStoreIsReadAndNotTouched) {
  const std::string expected =
      "open 0 0 0 27459604 27459604 27459604 27459604 27459604 27459604 27459604 0 v\n";
  const std::string mount = "mount --bind " + Home().string() + " " + Home().string() +
                            " && mount -o remount,ro,bind " + Home().string();
  fs::remove_all(Home());
  fs::create_directories(Home());
  // Mounting takes rights that not every host gives.
  const bool mounts = std::system(("unshare -rm sh -c '" + mount + "' 2>/dev/null").c_str()) == 0;
  const std::string mounted = "KORA_DATA_ENDPOINTS=127.0.0.1:9 KORA_LOG_LEVEL=warn unshare -rm sh -c '" +
                              mount + " && exec \"$@\"' sh";
  if (mounts) {
    EXPECT_EQ(Child("read-only", mounted).Line(), "open 27459589");
  }
  fs::remove_all(Home());
  EXPECT_EQ(Child("read-only", "KORA_DATA_ACCESS=read-only KORA_LOG_LEVEL=off").Line(), "open 27459589");
  EXPECT_FALSE(fs::exists(Home()));
  EXPECT_EQ(Child("leave-in-log").Result(), 0);
  fs::remove(Home() / ".device");  // reading needs no identity that lasts
  const auto files = [] {
    std::map<fs::path, std::pair<uintmax_t, fs::file_time_type>> found;
    for (const auto& entry : fs::recursive_directory_iterator(Home())) {
      if (entry.is_regular_file()) found[entry.path()] = {entry.file_size(), entry.last_write_time()};
    }
    return found;
  };
  const auto before = files();
  EXPECT_EQ(Child("read-only", "KORA_DATA_ACCESS=read-only").Line(), expected);
  if (mounts) {
    EXPECT_EQ(Child("read-only", mounted).Line(), expected);
  }
  EXPECT_EQ(files(), before);
}

TEST_F(Processes, BadSettingsAreSaidWhenAStoreIsOpened) {
  Child child("status", "KORA_DATA_DURABILITY=disk");
  EXPECT_NE(child.Line().find("KORA_DATA_DURABILITY: 'disk' is not allowed; allowed is process or power"),
            std::string::npos);
  EXPECT_EQ(child.Line(), "27459585\n");
}

TEST_F(Processes, DurabilityPowerWorks) {
  for (int i = 0; i < 2; ++i) EXPECT_EQ(Child("status", "KORA_DATA_DURABILITY=power").Line(), "0\n");
}

TEST_F(Processes, MemoryStaysWithinItsBudget) {
  if (kSanitized) GTEST_SKIP() << "sanitizers keep memory of their own";
  const int idle = Child("idle-memory").Number();
  EXPECT_LT(idle, 16 * 1024);
  std::printf("KiB of anonymous memory: idle store %d\n", idle);
  for (const int budget : {32, 64}) {
    fs::remove_all(Home());
    const std::string bytes = std::to_string(budget << 20);
    const int load = Child("load-memory", "KORA_DATA_MEMORY_BUDGET=" + bytes).Number();
    EXPECT_GT(load, budget * 1024 / 2);  // or nothing was loaded
    EXPECT_LT(load, budget * 1024 * 6 / 5);
    std::printf("KiB of anonymous memory: budget %d, under load %d\n", budget * 1024, load);
  }
}

}  // namespace
}  // namespace KORA::DistributedKv
