#include "viewer/SoundMessage.h"

#include <gtest/gtest.h>

#include <string>
#include <string_view>

namespace ovelo {
namespace {

Result<SoundMessage> parse(std::string_view block) {
    return SoundMessage::parse(
        std::span(reinterpret_cast<const std::uint8_t*>(block.data()), block.size()));
}

/// The text, the zero byte, and `size` bytes that count up.
std::string block(const std::string& text, std::size_t size) {
    std::string result = text + '\0';
    for (std::size_t i = 0; i < size; ++i) {
        result.push_back(static_cast<char>(i));
    }
    return result;
}

TEST(SoundMessageTest, CutsABlockIntoItsPackets) {
    const std::string bytes = block("2,200,0,0,180,200,0,380", 380);
    const auto message = parse(bytes);

    ASSERT_TRUE(message) << message.error();
    ASSERT_EQ(message.value().packets.size(), 2U);
    EXPECT_EQ(message.value().packets[0].size(), 200U);
    EXPECT_EQ(message.value().packets[1].size(), 180U);
    EXPECT_EQ(message.value().packets[1][0], 200U);
    EXPECT_EQ(bytes.size(), 404U); // the length that the block's line tells
}

TEST(SoundMessageTest, TakesABlockWithoutPackets) {
    const auto message = parse(block("0,0", 0));

    ASSERT_TRUE(message);
    EXPECT_TRUE(message.value().packets.empty());
}

TEST(SoundMessageTest, TakesGaps) {
    const std::string bytes = block("2,2,1,0,1,9,0,10", 10);
    const auto message = parse(bytes);

    ASSERT_TRUE(message);
    EXPECT_EQ(message.value().packets[0][0], 1U);
    EXPECT_EQ(message.value().packets[1][0], 9U);
}

TEST(SoundMessageTest, RefusesMorePacketsThanItWillHold) {
    std::string text = std::to_string(SoundMessage::kMaxPackets + 1);
    for (std::uint32_t i = 0; i <= SoundMessage::kMaxPackets; ++i) {
        text += ",1," + std::to_string(i) + ",0";
    }
    const std::size_t size = SoundMessage::kMaxPackets + 1;

    EXPECT_FALSE(parse(block(text + "," + std::to_string(size), size)));
}

struct Hostile {
    const char* what;
    const char* text;
    std::size_t size; // of the bytes behind the zero byte
};

class HostileSoundMessageTest : public testing::TestWithParam<Hostile> {};

TEST_P(HostileSoundMessageTest, IsRefusedWithAReason) {
    const auto message = parse(block(GetParam().text, GetParam().size));

    ASSERT_FALSE(message) << GetParam().what;
    EXPECT_FALSE(message.error().empty());
}

INSTANTIATE_TEST_SUITE_P(
    Blocks, HostileSoundMessageTest,
    testing::Values(Hostile{"no fields", "", 0}, Hostile{"a count alone", "0", 0},
                    Hostile{"a comma at the end", "0,0,", 0},
                    Hostile{"fewer packets than counted", "2,4,0,0,4", 4},
                    Hostile{"more packets than counted", "1,2,0,0,2,2,0,4", 4},
                    Hostile{"a count that overflows", "4294967297,4,0,0,4", 4},
                    Hostile{"a count below nothing", "-1,4,0,0,4", 4},
                    Hostile{"a total too large", "1,4,0,0,5", 4},
                    Hostile{"a total too small", "1,4,0,0,4", 5},
                    Hostile{"a packet beyond the end", "1,5,0,0,4", 4},
                    Hostile{"an offset beyond the end", "1,1,5,0,4", 4},
                    Hostile{"a packet of nothing", "2,4,0,0,0,4,0,4", 4},
                    Hostile{"a size that overflows", "1,4294967295,1,0,4", 4},
                    Hostile{"a size below nothing", "1,-1,0,0,4", 4},
                    Hostile{"an offset of many gigabytes", "1,4,0,1,4", 4},
                    Hostile{"packets one over the other", "2,4,0,0,4,2,0,8", 8},
                    Hostile{"packets in no order", "2,4,4,0,4,0,0,8", 8},
                    Hostile{"a blank", "1, 4,0,0,4", 4}, Hostile{"words", "one,4,0,0,4", 4},
                    Hostile{"a fraction", "1,4.0,0,0,4", 4}));

TEST(SoundMessageTest, RefusesABlockWithoutAZeroByte) {
    EXPECT_FALSE(parse("1,4,0,0,4"));
    EXPECT_FALSE(parse(""));
    EXPECT_FALSE(parse(std::string(1024 * 1024, ',')));
}

} // namespace
} // namespace ovelo
