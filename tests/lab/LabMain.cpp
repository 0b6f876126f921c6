// The main function of tests that build networks.

#include "integration/Sandbox.h"
#include "lab/NatLab.h"

#include <gtest/gtest.h>

namespace {

class LabEnvironment final : public ovelo::SandboxEnvironment {
    std::string enter() override { return ovelo::NatLab::enter(); }
};

} // namespace

int main(int argc, char** argv) {
    ::testing::InitGoogleTest(&argc, argv);
    ::testing::AddGlobalTestEnvironment(new LabEnvironment); // GoogleTest owns it
    return RUN_ALL_TESTS();
}
