// Plays the scripts, and checks that they leave no native out.
#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <set>

#include "operations.h"
#include "support/script.h"

namespace {

using fake::Section;

const std::vector<Section>& Sections() {
  static const auto* sections = new std::vector<Section>(fake::ReadScripts(KORA_BRIDGE_SCRIPTS));
  return *sections;
}

std::vector<std::string> ReadLines(const std::string& name) {
  std::ifstream in(std::string(KORA_BRIDGE_SCRIPTS) + "/" + name);
  std::vector<std::string> lines;
  for (std::string line; std::getline(in, line);) {
    if (!line.empty() && line[0] != '#') lines.push_back(line);
  }
  return lines;
}

class ScriptTest : public testing::TestWithParam<size_t> {};

TEST_P(ScriptTest, RunsToTheLetter) {
  fake::Play(Sections()[GetParam()]);
}

TEST_P(ScriptTest, KeepsTheRulesOfJniWhateverFails) {
  fake::PlayOpenFailures(Sections()[GetParam()]);
}

TEST_P(ScriptTest, LetsNoCppExceptionOut) {
  const Section& section = Sections()[GetParam()];
  const bool callsClient = std::any_of(section.steps.begin(), section.steps.end(),
                                       [](const fake::Line& line) { return line.text.rfind("> ", 0) == 0; });
  if (callsClient && section.target.find('.') != std::string::npos) fake::PlayWithThrowingClient(section);
}

INSTANTIATE_TEST_SUITE_P(Bridge, ScriptTest, testing::Range(size_t{0}, Sections().size()),
                         [](const auto& test) {
                           std::string name =
                               Sections()[test.param].target + "_" + std::to_string(test.param);
                           std::replace(name.begin(), name.end(), '.', '_');
                           return name;
                         });

TEST(Registration, BindsTheTablesRowByRow) {
  std::vector<std::string> rows;
  for (const char* type : {"KvManagerImpl", "MultiKvStoreImpl", "KvStoreSnapshotImpl", "KvStoreResultSetImpl",
                           "SingleKvStoreImpl"}) {
    for (const auto& native : fake::Java::Get().Natives()[type]) {
      rows.push_back(std::string(type) + "." + native.name + " " + native.signature);
    }
  }
  EXPECT_EQ(ReadLines("natives.txt"), rows);
}

TEST(Registration, EveryNativeHasAScript) {
  std::set<std::string> scripted = {"KvManagerImpl.nativeSetup"};  // its result is an address
  for (const Section& section : Sections()) scripted.insert(section.target);
  for (const std::string& row : ReadLines("natives.txt")) {
    const std::string name = row.substr(0, row.find(' '));
    EXPECT_EQ(1U, scripted.count(name)) << name;
  }
}

}  // namespace
