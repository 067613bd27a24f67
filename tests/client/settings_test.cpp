#include "common/settings.h"

#include <fstream>
#include <map>

#include "support.h"

namespace KORA::DistributedKv::Client {
namespace {

class SettingsTest : public testing::Test {
 protected:
  ResolvedSettings Resolve(const Properties& configured = {}) const {
    return ResolveSettings(configured, [this](const char* name) {
      const auto found = environment_.find(name);
      return found == environment_.end() ? nullptr : found->second.c_str();
    });
  }

  void UseFile(const std::string& text) {
    std::filesystem::create_directories(Home());
    const std::filesystem::path file = Home() / "settings";
    std::ofstream(file) << text;
    environment_["KORA_DATA_CONFIG"] = file.string();
  }

  std::map<std::string, std::string> environment_ = {{"HOME", "/home/user"}};
};

TEST_F(SettingsTest, Defaults) {
  const auto [settings, error] = Resolve();
  ASSERT_TRUE(settings) << error;
  EXPECT_EQ(settings->home, "/home/user/.local/share/kora-data");
  EXPECT_EQ(settings->durability, Durability::kProcess);
  EXPECT_EQ(settings->memoryBudget, 64U << 20);
  EXPECT_FALSE(settings->deviceName.empty());
  EXPECT_EQ(settings->deviceType, "unknown");

  environment_["XDG_DATA_HOME"] = "/data";
  EXPECT_EQ(Resolve().settings->home, "/data/kora-data");
  environment_["XDG_DATA_HOME"] = "relative";
  EXPECT_EQ(Resolve().settings->home, "/home/user/.local/share/kora-data");
}

TEST_F(SettingsTest, ConfiguredWinsOverEnvironmentOverFile) {
  UseFile("# a comment\n\n home = /file \r\ndurability=power\nmemory.budget=10000000\ndevice.name=d=1");
  EXPECT_EQ(Resolve().settings->home, "/file");
  EXPECT_EQ(Resolve().settings->durability, Durability::kPower);
  EXPECT_EQ(Resolve().settings->deviceName, "d=1");
  environment_["KORA_DATA_HOME"] = "/environment";
  environment_["KORA_DATA_MEMORY_BUDGET"] = "20000000";
  environment_["KORA_DATA_RATE_LIMIT"] = "250";
  const auto settings = Resolve({{"home", "/configured/../home"}}).settings;
  ASSERT_TRUE(settings);
  EXPECT_EQ(settings->home, "/home");
  EXPECT_EQ(settings->memoryBudget, 20'000'000U);
  EXPECT_EQ(settings->rateLimit, 250U);
  EXPECT_EQ(settings->durability, Durability::kPower);
}

TEST_F(SettingsTest, ErrorsNameTheSettingAndWhatIsAllowed) {
  const std::vector<std::pair<Properties, std::string>> bad = {
      {{{"durability", "disk"}}, "durability: 'disk' is not allowed; allowed is process or power"},
      {{{"memory.budget", "8388607"}}, "memory.budget: '8388607' is not allowed"},
      {{{"memory.budget", "68719476737"}}, "64 GiB"},
      {{{"memory.budget", "64M"}}, "memory.budget"},
      {{{"memory.budget", ""}}, "memory.budget"},
      {{{"home", ""}}, "home: '' is not allowed"},
      {{{"rate.limit", "1000001"}}, "a number of operations a second to 1000000"},
      {{{"rate.limit", "-1"}}, "rate.limit"},
      {{{"device.name", std::string(129, 'x')}}, "1 to 128 bytes"},
      {{{"device.name", "caf\xe9"}}, "'caf\\xe9' is not allowed; allowed is 1 to 128 bytes of UTF-8"},
      {{{"colour", "red"}}, "'colour' is not a setting; settings are home, durability"},
      {{{"device.t\xc3\xbf", "x"}}, "'device.t\\xc3\\xbf'"},
  };
  for (const auto& [configured, text] : bad) {
    const auto [settings, error] = Resolve(configured);
    EXPECT_FALSE(settings);
    EXPECT_NE(error.find(text), std::string::npos) << error;
  }
  environment_["KORA_DATA_DURABILITY"] = "x";
  EXPECT_NE(Resolve().error.find("KORA_DATA_DURABILITY: 'x'"), std::string::npos);
  UseFile("durability=process\nnonsense\n");
  EXPECT_NE(Resolve().error.find("line 2"), std::string::npos) << Resolve().error;
  environment_["KORA_DATA_CONFIG"] = "/nowhere/at/all";
  EXPECT_NE(Resolve().error.find("No such file"), std::string::npos) << Resolve().error;
}

TEST_F(SettingsTest, AreTakenWholeAndBeforeTheFirstManager) {
  Configuration configuration;
  EXPECT_NE(configuration.Configure({{"home", "/lost"}, {"durability", "x"}}), "");
  EXPECT_EQ(configuration.Configure({{"home", "/first"}, {"device.type", "desk"}}), "");
  EXPECT_EQ(configuration.Configure({{"home", "/second"}}), "");
  const ResolvedSettings& settled = configuration.Settle();
  ASSERT_TRUE(settled.settings);
  EXPECT_EQ(settled.settings->home, "/second");
  EXPECT_EQ(settled.settings->deviceType, "desk");
  EXPECT_NE(configuration.Configure({{"home", "/late"}}).find("before the first manager"), std::string::npos);
}

}  // namespace
}  // namespace KORA::DistributedKv::Client
