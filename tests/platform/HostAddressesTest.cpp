#include "platform/HostAddresses.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace ovelo {
namespace {

TEST(HostAddressesTest, AllOfThemAreTold) {
    const auto all = hostAddresses();

    EXPECT_NE(std::find(all.begin(), all.end(), "127.0.0.1"), all.end());
    EXPECT_NE(std::find(all.begin(), all.end(), localAddress()), all.end());
    for (const std::string& address : all) {
        EXPECT_EQ(std::count(all.begin(), all.end(), address), 1) << address;
    }
}

} // namespace
} // namespace ovelo
