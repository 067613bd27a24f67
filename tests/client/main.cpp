#include <cstdlib>

#include "support.h"

namespace KORA::DistributedKv {

const std::filesystem::path& Home() {
  static const std::filesystem::path home = [] {
    std::string name = (std::filesystem::temp_directory_path() / "kora-client-test-XXXXXX").string();
    return std::filesystem::path(mkdtemp(name.data())) / "home";
  }();
  return home;
}

}  // namespace KORA::DistributedKv

int main(int argc, char** argv) {
  testing::InitGoogleTest(&argc, argv);
  if (testing::GTEST_FLAG(list_tests)) return RUN_ALL_TESTS();
  setenv("KORA_DATA_HOME", KORA::DistributedKv::Home().c_str(), 1);
  const int result = RUN_ALL_TESTS();
  std::filesystem::remove_all(KORA::DistributedKv::Home().parent_path());
  return result;
}
