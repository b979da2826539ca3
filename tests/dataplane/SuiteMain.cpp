// The data-plane suite's main: every test runs in the private network that
// TestNetwork makes, with a device for each interface of the tests' node, or
// is skipped with the reason it cannot run here.
#include <gtest/gtest.h>

#include "TestNetwork.h"

namespace {

class TestNetworkEnvironment : public ::testing::Environment {
 public:
  explicit TestNetworkEnvironment(std::string unavailable) : unavailable(std::move(unavailable)) {}
  void SetUp() override {
    if (!unavailable.empty()) GTEST_SKIP() << unavailable;
  }

 private:
  std::string unavailable;
};

}  // namespace

int main(int argc, char** argv) {
  ::testing::InitGoogleTest(&argc, argv);
  std::string unavailable;
  if (!::testing::GTEST_FLAG(list_tests))
    unavailable =
        dataplane::enterTestNetwork({"mng", "eth2", "eth3", "pon4", "gem5", "cpu6", "gem7"});
  ::testing::AddGlobalTestEnvironment(new TestNetworkEnvironment(unavailable));
  return RUN_ALL_TESTS();
}
