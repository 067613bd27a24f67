// The platform log reads its level once, so each case runs a child of this program that writes the same
// messages under another setting: `platform_log_test --emit`.
#include "platform_log.h"

#include <gtest/gtest.h>
#include <regex.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>
#include <thread>
#include <vector>

namespace {

constexpr int kThreads = 4;
constexpr int kLinesPerThread = 200;

void Emit() {
  __android_log_print(KORA_LOG_DEBUG, "Tag", "%s: a debug line", "Name");
  __android_log_print(KORA_LOG_INFO, "Tag", "%s: an info line", "Name");
  __android_log_print(KORA_LOG_WARN, "Tag", "%s: status=%d\n", "Name", 27459588);
  __android_log_print(KORA_LOG_ERROR, "Other", "two\nlines\n");
  __android_log_print(KORA_LOG_ERROR, "Long", "%s", std::string(10'000, 'x').c_str());
}

void EmitFromManyThreads() {
  std::vector<std::thread> threads;
  for (int id = 0; id < kThreads; ++id) {
    threads.emplace_back([id] {
      for (int line = 0; line < kLinesPerThread; ++line)
        __android_log_print(KORA_LOG_ERROR, "T", "%d-%d end", id, line);
    });
  }
  for (auto& thread : threads) thread.join();
}

std::vector<std::string> RunChild(const std::string& level, const std::string& mode = "--emit") {
  const std::string setting = level.empty() ? "unset KORA_LOG_LEVEL;" : "KORA_LOG_LEVEL=" + level;
  const std::string command = setting + " /proc/" + std::to_string(getpid()) + "/exe " + mode + " 2>&1";
  const std::unique_ptr<FILE, int (*)(FILE*)> child(popen(command.c_str(), "r"), pclose);
  std::vector<std::string> lines;
  std::string line;
  for (int c = std::fgetc(child.get()); c != EOF; c = std::fgetc(child.get())) {
    if (c == '\n') {
      lines.push_back(line);
      line.clear();
    } else {
      line.push_back(static_cast<char>(c));
    }
  }
  EXPECT_EQ(line, "") << "the last line has no end";
  return lines;
}

// Whether the pattern, a POSIX extended regular expression, matches the whole line.
bool Matches(const std::string& line, const std::string& pattern) {
  regex_t compiled;
  if (regcomp(&compiled, ("^" + pattern + "$").c_str(), REG_EXTENDED | REG_NOSUB) != 0) return false;
  const bool matches = regexec(&compiled, line.c_str(), 0, nullptr, 0) == 0;
  regfree(&compiled);
  return matches;
}

constexpr char kHead[] = "[0-9]{4}-[0-9]{2}-[0-9]{2} [0-9]{2}:[0-9]{2}:[0-9]{2}[.][0-9]{3} ";

TEST(PlatformLog, LevelDecidesWhatIsWritten) {
  EXPECT_EQ(RunChild("").size(), 3U) << "warnings and errors are the default";
  EXPECT_EQ(RunChild("debug").size(), 5U);
  EXPECT_EQ(RunChild("INFO").size(), 4U);
  EXPECT_EQ(RunChild("error").size(), 2U);
  EXPECT_EQ(RunChild("off").size(), 0U);
  const auto lines = RunChild("loud");
  ASSERT_EQ(lines.size(), 4U) << "an unknown level is named, and warnings are written";
  EXPECT_NE(lines[0].find("'loud'"), std::string::npos) << lines[0];
}

TEST(PlatformLog, ALineHasTimePriorityTagAndThread) {
  const auto lines = RunChild("debug");
  ASSERT_EQ(lines.size(), 5U);
  const char* const rests[] = {"D Tag [0-9]+: Name: a debug line", "I Tag [0-9]+: Name: an info line",
                               "W Tag [0-9]+: Name: status=27459588", "E Other [0-9]+: two lines",
                               "E Long [0-9]+: x+"};
  for (size_t at = 0; at < lines.size(); ++at) {
    EXPECT_TRUE(Matches(lines[at], std::string(kHead) + rests[at])) << lines[at];
  }
}

TEST(PlatformLog, LinesOfSeveralThreadsDoNotMix) {
  const auto lines = RunChild("error", "--emit-threads");
  EXPECT_EQ(lines.size(), static_cast<size_t>(kThreads) * kLinesPerThread);
  for (const auto& line : lines) {
    EXPECT_TRUE(Matches(line, std::string(kHead) + "E T [0-9]+: [0-9]+-[0-9]+ end")) << line;
  }
}

TEST(PlatformLog, AMessageBelowTheLevelCostsNextToNothing) {
#ifndef NDEBUG
  GTEST_SKIP() << "measured in an optimised build only";
#endif
  constexpr int kCalls = 20'000'000;
  setenv("KORA_LOG_LEVEL", "warn", 1);  // NOLINT(concurrency-mt-unsafe): no other thread yet
  double best = 1e9;
  for (int round = 0; round < 5; ++round) {  // the best of some, since the machine does other things too
    const auto start = std::chrono::steady_clock::now();
    for (int call = 0; call < kCalls / 5; ++call)
      __android_log_print(KORA_LOG_DEBUG, "Tag", "%s: %d", "Name", call);
    const std::chrono::duration<double, std::nano> took = std::chrono::steady_clock::now() - start;
    best = std::min(best, took.count() / (kCalls / 5));
  }
  std::printf("a message below the level: %.2f ns (aim: below 5)\n", best);
  EXPECT_LT(best, 25.0);
}

}  // namespace

int main(int argc, char** argv) {
  const std::string mode = argc > 1 ? argv[1] : "";
  if (mode == "--emit") return Emit(), 0;
  if (mode == "--emit-threads") return EmitFromManyThreads(), 0;
  testing::InitGoogleTest(&argc, argv);
  return RUN_ALL_TESTS();
}
