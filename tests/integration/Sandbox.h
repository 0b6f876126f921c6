#pragma once

#include <gtest/gtest.h>

#include <string>

namespace ovelo {

/// Puts the whole test program into a network of its own that has loopback alone, so that nothing
/// of what it starts can reach anybody else.
///
/// return  empty when done, else why it cannot be done
std::string enterSandbox();

/// Enters the sandbox before the first test. Where it cannot be had every test is skipped, and says
/// why; with OVELO_REQUIRE_SANDBOX in the environment that is a failure.
class SandboxEnvironment : public ::testing::Environment {
public:
    void SetUp() override;

protected:
    /// return  empty when the sandbox is ready, else why it is not
    virtual std::string enter() { return enterSandbox(); }
};

} // namespace ovelo
