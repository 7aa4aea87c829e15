// Skips every test where the processor lacks what the copy of the codec under test needs.
#include <gtest/gtest.h>

#include "frame/processor_level.h"

namespace {

class RequiredLevel : public testing::Environment {
  void SetUp() override {
    if (processor_level() < ProcessorLevel::KERNEL_LEVEL) GTEST_SKIP() << "not on this processor";
  }
};
const auto* const REQUIRED_LEVEL = testing::AddGlobalTestEnvironment(new RequiredLevel);

}  // namespace
