// The main function of tests whose datagrams must not leave this computer: a network of their own.

#include "integration/Sandbox.h"

#include <gtest/gtest.h>

int main(int argc, char** argv) {
    ::testing::InitGoogleTest(&argc, argv);
    ::testing::AddGlobalTestEnvironment(new ovelo::SandboxEnvironment); // GoogleTest owns it
    return RUN_ALL_TESTS();
}
