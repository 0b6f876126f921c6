#include "viewer/ViewerStream.h"

#include <gtest/gtest.h>

#include <string>
#include <string_view>
#include <vector>

namespace ovelo {
namespace {

std::span<const std::uint8_t> bytesOf(std::string_view text) {
    return {reinterpret_cast<const std::uint8_t*>(text.data()), text.size()};
}

/// One line of text for each item, so that streams can be compared.
std::string describe(const ViewerStream::Item& item) {
    if (const auto* line = std::get_if<std::string>(&item)) {
        return "line " + *line;
    }
    const auto& block = std::get<ViewerBlock>(item);
    return "block " + std::to_string(block.header.frameID) + " " +
           std::string(block.bytes.begin(), block.bytes.end());
}

void feed(ViewerStream& stream, std::string_view text, std::vector<std::string>& items) {
    auto rest = bytesOf(text);
    while (const auto item = stream.take(rest)) {
        items.push_back(describe(*item));
    }
    if (stream.error().empty()) {
        EXPECT_TRUE(rest.empty());
    }
}

std::vector<std::string> itemsOf(std::string_view text) {
    ViewerStream stream;
    std::vector<std::string> items;
    feed(stream, text, items);
    return items;
}

using Items = std::vector<std::string>;

TEST(ViewerStreamTest, CutsLinesAtLineFeeds) {
    EXPECT_EQ(itemsOf("CONNECTED\n\nVERSION,1.000000\nrest"),
              (Items{"line CONNECTED", "line ", "line VERSION,1.000000"}));
}

TEST(ViewerStreamTest, KeepsCarriageReturns) {
    EXPECT_EQ(itemsOf("AUTH_OK\r\n"), Items{"line AUTH_OK\r"});
}

TEST(ViewerStreamTest, CutsABlockOutByItsLengthWhateverItHolds) {
    EXPECT_EQ(itemsOf("Frame,3,12,9,0\nFrame,1,2\n\nxAUTH_OK\n"),
              (Items{"block 3 Frame,1,2\n\nx", "line AUTH_OK"}));
}

TEST(ViewerStreamTest, GivesAnEmptyBlockAtOnce) {
    EXPECT_EQ(itemsOf("Frame,3,0,9,0\n"), Items{"block 3 "});
}

TEST(ViewerStreamTest, GivesTheSameItemsWhereverTheBytesAreSplit) {
    const std::string text =
        "CONNECTED\nFrame,1,5,9,0\nabcdeVERSION\nAudio,0,3,9,0\n\n\n\nFrame,2,0,9,0\nend\n";
    const auto whole = itemsOf(text);
    ASSERT_EQ(whole.size(), 6U);

    for (std::size_t split = 0; split <= text.size(); ++split) {
        ViewerStream stream;
        Items items;
        feed(stream, std::string_view(text).substr(0, split), items);
        feed(stream, std::string_view(text).substr(split), items);
        EXPECT_EQ(items, whole) << "split at " << split;
    }
}

TEST(ViewerStreamTest, GivesTheSameItemsByteByByte) {
    const std::string text = "CONNECTED\nFrame,1,5,9,0\nabcdeVERSION\nAudio,0,3,9,0\n\n\n\n";
    ViewerStream stream;
    Items items;

    for (const char byte : text) {
        feed(stream, std::string_view(&byte, 1), items);
    }

    EXPECT_EQ(items, itemsOf(text));
}

TEST(ViewerStreamTest, StopsForGoodAtAMalformedHeader) {
    ViewerStream stream;
    Items items;

    feed(stream, "one\nFrame,x,5,9,0\ntwo\n", items);
    feed(stream, "three\n", items);

    EXPECT_EQ(items, Items{"line one"});
    EXPECT_NE(stream.error().find("Frame,x,5,9,0"), std::string::npos);
}

TEST(ViewerStreamTest, StopsAtABlockThatClaimsTooMuch) {
    ViewerStream stream;
    Items items;

    feed(stream, "Frame,1,4294967295,9,0\n", items);

    EXPECT_TRUE(items.empty());
    EXPECT_FALSE(stream.error().empty());
}

TEST(ViewerStreamTest, TakesTheLongestLineAndRefusesALongerOne) {
    const std::string longest(ViewerStream::kMaxLine, 'x');
    EXPECT_EQ(itemsOf(longest + "\n"), Items{"line " + longest});

    ViewerStream stream;
    Items items;
    feed(stream, longest, items);
    EXPECT_TRUE(stream.error().empty());
    feed(stream, "x", items);
    EXPECT_FALSE(stream.error().empty());
}

} // namespace
} // namespace ovelo
