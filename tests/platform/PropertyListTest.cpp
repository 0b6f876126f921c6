#include "platform/PropertyList.h"

#include "fakes/TemporaryFolder.h"

#include <gtest/gtest.h>

#include <fstream>

namespace ovelo {
namespace {

class PropertyListTest : public ::testing::Test {
protected:
    std::optional<PropertyList> read(const std::string& text) {
        std::ofstream(file, std::ios::binary) << text;
        return readPropertyList(file);
    }

    TemporaryFolder folder;
    std::filesystem::path file = folder.path() / "Info.plist";
};

TEST_F(PropertyListTest, TextsOfTheDictionaryAreReadByTheirKeys) {
    const auto list =
        read("<?xml version=\"1.0\"?>\n<!DOCTYPE plist>\n<plist version=\"1.0\"><dict>"
             "<key>NSUIElement</key><string>1</string>"
             "<key>Name</key><string>A &amp; \xC3\x9C</string></dict></plist>");

    ASSERT_TRUE(list);
    EXPECT_EQ(*list, (PropertyList{{"NSUIElement", "1"}, {"Name", "A & \xC3\x9C"}}));
}

TEST_F(PropertyListTest, ValuesOfOtherKindsAreLeftOut) {
    const auto list = read("<plist><dict><key>a</key><true/><key>b</key><integer>1</integer>"
                           "<key>c</key><array><string>x</string></array>"
                           "<key>d</key><string>y</string></dict></plist>");

    ASSERT_TRUE(list);
    EXPECT_EQ(*list, (PropertyList{{"d", "y"}}));
}

TEST_F(PropertyListTest, WhatIsNoPropertyListIsNothing) {
    for (const char* text : {"", "garbage", "<html/>", "<plist><array/></plist>",
                             "<plist><dict><key>a</key><string>x</string>"}) {
        EXPECT_FALSE(read(text)) << text;
    }
    EXPECT_FALSE(readPropertyList(folder.path() / "none"));
}

} // namespace
} // namespace ovelo
