#include <gtest/gtest.h>

#include <cstring>

#include "operations.h"
#include "process.h"

namespace {

class Bridge : public testing::Environment {
 public:
  void SetUp() override { ASSERT_EQ(JNI_VERSION_1_4, Load(fake::Java::Get().Vm())); }
};

}  // namespace

int main(int argc, char** argv) {
  testing::InitGoogleTest(&argc, argv);
  DefineOperations();
  if (argc > 1) return RunAsChild(argv[1]);
  testing::AddGlobalTestEnvironment(new Bridge);
  return RUN_ALL_TESTS();
}
