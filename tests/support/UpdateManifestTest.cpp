#include "support/UpdateManifest.h"

#include <gtest/gtest.h>

#include <string>

namespace ovelo {
namespace {

void expectManifest(const std::string& text, const std::string& newest, const std::string& link) {
    const auto manifest = UpdateManifest::parse(text);
    ASSERT_TRUE(manifest) << text;
    EXPECT_EQ(manifest.value().newest, newest) << text;
    EXPECT_EQ(manifest.value().link, link) << text;
}

TEST(UpdateManifestTest, OfTwoLinesTheSecondIsTheLink) {
    expectManifest("2.1.3\nhttp://a", "2.1.3", "http://a");
    expectManifest("2.1.3\nhttp://a\n", "2.1.3", "http://a");
}

TEST(UpdateManifestTest, OfThreeLinesTheThirdIsTheLink) {
    expectManifest("2.1.3\nhttp://a\nhttp://b", "2.1.3", "http://b");
    expectManifest("2.1.3\nhttp://a\nhttp://b\n", "2.1.3", "http://b");
}

TEST(UpdateManifestTest, OfMoreLinesTheThirdIsTheLink) {
    std::string text = "2.1.3\n\nhttp://b\n";
    for (int i = 0; i < 10'000; ++i) {
        text += "more\n";
    }
    expectManifest(text, "2.1.3", "http://b");
}

TEST(UpdateManifestTest, LinesEndWithAnyOfTheThreeLineEnds) {
    expectManifest("1\r\n2\r\n", "1", "2");
    expectManifest("1\r2", "1", "2");
    expectManifest("1\r\n2\n3\r", "1", "3");
    expectManifest("1\n\r3", "1", "3");
}

TEST(UpdateManifestTest, WithoutASecondLineThereIsNone) {
    for (const char* text : {"", "\n", "\r\n", "2.1.3", "2.1.3\n", "<html>no</html>"}) {
        EXPECT_FALSE(UpdateManifest::parse(text)) << text;
    }
}

TEST(UpdateManifestTest, IsUtf8Text) {
    EXPECT_FALSE(UpdateManifest::parse("1\xFF\n2"));
    EXPECT_FALSE(UpdateManifest::parse(std::string("1\n2\0", 4)));
}

} // namespace
} // namespace ovelo
