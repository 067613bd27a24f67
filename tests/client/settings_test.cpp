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

TEST_F(SettingsTest, Cluster) {
  EXPECT_TRUE(Resolve().settings->cluster.endpoints.empty());
  std::filesystem::create_directories(Home());
  const std::string pem = (Home() / "ca.pem").string();
  const std::string password = (Home() / "password").string();
  const std::string text = "-----BEGIN CERTIFICATE-----\nMA==\n";
  std::ofstream(pem) << "Issued to me\n" << text;
  std::ofstream(password) << "two words \r\n";
  environment_["KORA_DATA_ENDPOINTS"] = "10.0.0.1:2379,hub-2.example:1,[fe80::1%eth0]:65535";
  environment_["KORA_DATA_CLUSTER_PASSWORD_FILE"] = password;
  const auto [settings, error] = Resolve({{"cluster.user", "me"},
                                          {"cluster.ca", pem},
                                          {"cluster.certificate", text},
                                          {"cluster.key", text},
                                          {"cluster.lease", "2000"},
                                          {"cluster.timeout", "60000"},
                                          {"cluster.death.after", "0"},
                                          {"cluster.namespace", "a.b"}});
  ASSERT_TRUE(settings) << error;
  const ClusterSettings& cluster = settings->cluster;
  EXPECT_EQ(cluster.endpoints,
            (std::vector<std::string>{"10.0.0.1:2379", "hub-2.example:1", "[fe80::1%eth0]:65535"}));
  EXPECT_EQ(cluster.authority, "Issued to me\n" + text);
  EXPECT_EQ(cluster.key, text);
  EXPECT_EQ(cluster.password, "two words ");
  EXPECT_EQ(cluster.leaseTime.count(), 2000);
  EXPECT_EQ(cluster.deathAfter.count(), 0);
  EXPECT_TRUE(cluster.UsesTls()) << "there is an authority";
  environment_.erase("KORA_DATA_CLUSTER_PASSWORD_FILE");
  for (const std::string& front : {std::string("# hub\n"), std::string("\r\n")})
    EXPECT_EQ(Resolve({{"cluster.ca", front + text}}).settings->cluster.authority, front + text);
  EXPECT_FALSE(Resolve().settings->cluster.UsesTls());
  EXPECT_TRUE(Resolve({{"cluster.endpoints", "https://a:1,https://b:2"}}).settings->cluster.UsesTls());
  EXPECT_EQ(Resolve({{"cluster.endpoints", "http://a:1"}}).settings->cluster.endpoints.at(0), "a:1");

  for (const char* endpoints :
       {"", "host", ":1", "host:", "host:0", "host:65536", "host:1,", "ho st:1", "[::1]", "[]:1",
        "ftp://host:1", "http://a:1,https://b:1", "http://a:1,b:1", "a:1/b", "a:1;b:2"}) {
    EXPECT_NE(Resolve({{"cluster.endpoints", endpoints}}).error.find("allowed is 1 to 16 of host:port"),
              std::string::npos)
        << endpoints;
  }
  const std::vector<std::pair<Properties, std::string>> bad = {
      {{{"cluster.ca", "/nowhere"}}, "cluster.ca: '/nowhere' is not allowed; allowed is PEM text or"},
      {{{"cluster.ca", password}}, "cluster.ca"},
      {{{"cluster.password.file", "/nowhere"}}, "cluster.password.file: '/nowhere'"},
      {{{"cluster.namespace", "a/b"}}, "cluster.namespace"},
      {{{"cluster.lease", "1999"}}, "from 2000 to 3600000"},
      {{{"cluster.timeout", "99"}}, "from 100 to 60000"},
      {{{"cluster.death.after", "999"}}, "from 1000 to 86400000, or 0 for never"},
      {{{"cluster.user", "me"}}, "cluster.user and cluster.password: one is set without"},
      {{{"cluster.certificate", text}}, "cluster.certificate and cluster.key: one is set without"},
      {{{"cluster.server.name", "hub"}}, "cluster.server.name"},
      {{{"cluster.endpoints", "http://a:1"}, {"cluster.ca", pem}}, "http:// does not go with"},
  };
  for (const auto& [configured, message] : bad) {
    EXPECT_NE(Resolve(configured).error.find(message), std::string::npos) << Resolve(configured).error;
  }
  for (const Properties& secret :
       {Properties{{"cluster.password", std::string(1025, 's')}}, Properties{{"cluster.key", "ssss"}}}) {
    EXPECT_NE(Resolve(secret).error, "");
    EXPECT_EQ(Resolve(secret).error.find("sss"), std::string::npos) << "a secret is shown";
  }
}

TEST_F(SettingsTest, OfAPasswordAndItsFileTheLaterOneHolds) {
  std::filesystem::create_directories(Home());
  const std::string file = (Home() / "password").string();
  std::ofstream(file) << "from the file";
  const Properties typed = {{"cluster.user", "me"}, {"cluster.password", "typed"}};
  const Properties filed = {{"cluster.user", "me"}, {"cluster.password.file", file}};
  for (const bool file_first : {true, false}) {
    Configuration configuration;
    EXPECT_EQ(configuration.Configure(file_first ? filed : typed), "");
    EXPECT_EQ(configuration.Configure(file_first ? typed : filed), "");
    EXPECT_EQ(configuration.Settle().settings->cluster.password, file_first ? "typed" : "from the file");
  }
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
