// The main() of every test binary: tests run with HOME and the XDG folders
// pointed into a fresh temporary folder, so no test ever reads or writes the
// real user's settings, cache, logs or data.
#include "base/testing/TestSupport.h"

#include <gtest/gtest.h>

int main(int argc, char** argv) {
    ::testing::InitGoogleTest(&argc, argv);
    kvtest::IsolatedHome home;
    return RUN_ALL_TESTS();
}
