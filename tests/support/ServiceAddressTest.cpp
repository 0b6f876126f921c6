#include "support/ServiceAddress.h"

#include "platform/MemorySettings.h"

#include <gtest/gtest.h>

namespace ovelo {
namespace {

TEST(ServiceAddressTest, IsTheBaseAndThePath) {
    MemorySettings settings;
    settings.setString("serviceUrl", "https://watch.example.org");

    EXPECT_EQ(serviceAddress(settings, "/P2P/MatchWS.aspx"),
              "https://watch.example.org/P2P/MatchWS.aspx");
}

TEST(ServiceAddressTest, BaseMayHaveAPathAndSlashesAtItsEnd) {
    MemorySettings settings;
    settings.setString("serviceUrl", "http://127.0.0.1:8080/services//");

    EXPECT_EQ(serviceAddress(settings, "/Tcp/RegisterWS.aspx"),
              "http://127.0.0.1:8080/services/Tcp/RegisterWS.aspx");
}

TEST(ServiceAddressTest, IsEmptyWithoutTheSetting) {
    MemorySettings settings;
    EXPECT_EQ(serviceAddress(settings, "/x"), "");

    settings.setString("serviceUrl", "/");
    EXPECT_EQ(serviceAddress(settings, "/x"), "");
}

} // namespace
} // namespace ovelo
