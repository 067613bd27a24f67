#include <fstream>

#include "common/files.h"
#include "common/utf8.h"
#include "support.h"

namespace KORA::DistributedKv {
namespace {

class Listener : public DeviceStatusChangeListener {
 public:
  void OnDeviceChanged(const DeviceInfo& /*device*/, const DeviceChangeType& /*type*/) const override {}
  DeviceFilterStrategy GetFilterStrategy() const override { return DeviceFilterStrategy::FILTER; }
};

class Devices : public ClientTest {};

TEST_F(Devices, ThisOneIsKnownAlikeToAllAndNoOthersAre) {
  DeviceInfo device;
  ASSERT_EQ(manager_.GetLocalDevice(device), Status::SUCCESS);
  std::string kept;
  ASSERT_FALSE(Client::ReadFile(Home() / ".device", kept));
  EXPECT_EQ(device.deviceId, kept);
  EXPECT_FALSE(device.deviceName.empty());
  EXPECT_EQ(device.deviceType, "unknown");

  const auto store = Open();
  const auto observer = std::make_shared<RecordingObserver>();
  store->SubscribeKvStore(SubscribeType::ALL, observer);
  Put(*store, "k", "v");
  observer->Await(1);
  EXPECT_EQ(observer->Device(), device.deviceId);

  for (const auto strategy : {DeviceFilterStrategy::FILTER, DeviceFilterStrategy::NO_FILTER}) {
    std::vector<DeviceInfo> devices = {device};
    EXPECT_EQ(manager_.GetDeviceList(devices, strategy), Status::SUCCESS);
    EXPECT_TRUE(devices.empty());
  }
}

TEST_F(Devices, ListenersAreKeptUntilTheyAreTakenBack) {
  auto listener = std::make_shared<Listener>();
  EXPECT_EQ(manager_.StartWatchDeviceChange(nullptr), Status::INVALID_ARGUMENT);
  EXPECT_EQ(manager_.StopWatchDeviceChange(listener), Status::KEY_NOT_FOUND);
  EXPECT_EQ(manager_.StartWatchDeviceChange(listener), Status::SUCCESS);
  EXPECT_EQ(manager_.StartWatchDeviceChange(listener), Status::ERROR);
  EXPECT_EQ(listener.use_count(), 2);
  EXPECT_EQ(manager_.StopWatchDeviceChange(listener), Status::SUCCESS);
  EXPECT_EQ(listener.use_count(), 1);
  EXPECT_EQ(manager_.StopWatchDeviceChange(listener), Status::KEY_NOT_FOUND);
}

TEST(ModifiedUtf8, OfAllLengthsAndOfNoText) {
  const std::string nul("a\0b", 3);
  const std::vector<std::pair<std::string, std::string>> texts = {
      {"", ""},
      {nul,
       "a\xC0\x80"
       "b"},
      {"\x7F\xC2\x80\xDF\xBF\xE0\xA0\x80\xEF\xBF\xBF", "\x7F\xC2\x80\xDF\xBF\xE0\xA0\x80\xEF\xBF\xBF"},
      {"\xF0\x9F\x98\x80!", "\xED\xA0\xBD\xED\xB8\x80!"},
      {"\xF4\x8F\xBF\xBF", "\xED\xAF\xBF\xED\xBF\xBF"},
  };
  for (const auto& [utf8, modified] : texts) EXPECT_EQ(Client::ToModifiedUtf8(utf8), modified);
  for (const char* bad : {"\x80", "\xC1\xBF", "\xC3", "\xE2\x82", "\xE0\x9F\xBF", "\xED\xA0\x80",
                          "\xF0\x8F\xBF\xBF", "\xF4\x90\x80\x80", "\xF5\x80\x80\x80", "\xC3(", "caf\xE9"}) {
    EXPECT_FALSE(Client::ToModifiedUtf8(bad)) << bad;
  }
}

}  // namespace
}  // namespace KORA::DistributedKv
