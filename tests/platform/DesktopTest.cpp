#include "platform/Desktop.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

// The offscreen platform has no browser, and names on standard error what it was asked to open.
namespace ovelo {

class DesktopRefusedUrlTest : public ::testing::TestWithParam<const char*> {};

TEST_P(DesktopRefusedUrlTest, DoesNotReachTheDesktop) {
    ::testing::internal::CaptureStderr();
    EXPECT_FALSE(desktop::openUrl(GetParam()));
    EXPECT_EQ(::testing::internal::GetCapturedStderr(), "");
}

INSTANTIATE_TEST_SUITE_P(Addresses, DesktopRefusedUrlTest,
                         ::testing::Values("", "file:///etc/passwd", "/etc/passwd",
                                           "javascript:alert(1)", "http://", "https:///path",
                                           "http//example.org", "http://exa mple.org/"));

TEST(DesktopTest, AWebAddressReachesTheDesktop) {
    for (const char* address : {"http://127.0.0.1/help", "https://watch.example.org/a?b=1"}) {
        ::testing::internal::CaptureStderr();
        EXPECT_FALSE(desktop::openUrl(address)); // no browser
        EXPECT_THAT(::testing::internal::GetCapturedStderr(), ::testing::HasSubstr(address));
    }
}

TEST(DesktopTest, AFolderReachesTheDesktop) {
    ::testing::internal::CaptureStderr();
    EXPECT_FALSE(desktop::openFolder("/srv/some folder")); // no file browser
    EXPECT_THAT(::testing::internal::GetCapturedStderr(), ::testing::HasSubstr("/srv/some"));
}

} // namespace ovelo
