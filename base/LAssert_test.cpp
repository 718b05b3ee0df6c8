// The active form of the contract check, whatever the build type: this file
// turns the checks on before it includes the header.
#ifndef KV_CONTRACT_CHECKS
#define KV_CONTRACT_CHECKS 1
#endif
#include "base/LAssert.h"

#include <gtest/gtest.h>

namespace {

TEST(LAssertDeathTest, FailedCheckNamesFileLineAndConditionThenAborts) {
    const int frames = 3;
    EXPECT_DEATH(KV_ASSERT(frames >= 0 && frames < 2),
                 "LAssert_test\\.cpp:[0-9]+: contract failed: frames >= 0 && frames < 2");
}

}  // namespace
