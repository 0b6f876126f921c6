#include "viewer/SoundSaver.h"

#include "fakes/FakeSound.h"
#include "fakes/TemporaryFolder.h"

#include <gtest/gtest.h>

namespace ovelo {
namespace {

constexpr const char* kPcmLine = "CONFIG_AUDIO,4000.000000,1819304813,14,2,1,2,1,16,0.500000,20000";

ViewerBlock block(std::uint32_t id, Bytes bytes) {
    return {{BlockKind::Sound, id, static_cast<std::uint32_t>(bytes.size()), 1, false},
            std::move(bytes)};
}

class SoundSaverTest : public testing::Test {
protected:
    TemporaryFolder folder;
    std::filesystem::path file = folder.path() / "sound.wav";
};

TEST_F(SoundSaverTest, WritesAFileThatOtherProgramsRead) {
    SoundSaver saver(file, 3.0 / 4000, &FakeDecoder::create);
    EXPECT_FALSE(saver.handleLine("VERSION,1.000000,Low,0,0,0"));
    EXPECT_FALSE(saver.handleLine(kPcmLine));
    EXPECT_FALSE(saver.handleBlock(block(7, {1, 2, 3, 4})));
    EXPECT_FALSE(saver.complete());
    EXPECT_FALSE(saver.handleBlock(block(8, {5, 6, 7, 8})));
    EXPECT_TRUE(saver.complete());

    const char expected[] = "RIFF\x2C\0\0\0WAVEfmt \x10\0\0\0" // 44 bytes follow; 16 of the format
                            "\1\0\1\0\xA0\x0F\0\0\x40\x1F\0\0" // plain, one channel, 4000, 8000
                            "\2\0\x10\0data\x08\0\0\0"         // 2 bytes, 16 bits, 8 bytes follow
                            "\2\1\4\3\6\5\x08\7";              // the low byte first
    EXPECT_EQ(readFile(file), std::string(expected, sizeof expected - 1));
}

TEST_F(SoundSaverTest, WritesSilenceForMissingBlocks) {
    SoundSaver saver(file, 8.0 / 4000, &FakeDecoder::create);
    EXPECT_FALSE(saver.handleLine(kPcmLine));
    EXPECT_FALSE(saver.handleBlock(block(0, {1, 1, 1, 1})));
    EXPECT_FALSE(saver.handleBlock(block(3, {2, 2, 2, 2}))); // 1 and 2 are missing

    EXPECT_TRUE(saver.complete());
    EXPECT_EQ(readFile(file).substr(44), std::string("\1\1\1\1\0\0\0\0\0\0\0\0\2\2\2\2", 16));
}

TEST_F(SoundSaverTest, TellsTheLengthInTheFileAfterEachBlock) {
    SoundSaver saver(file, 1, &FakeDecoder::create);
    EXPECT_FALSE(saver.handleLine(kPcmLine));
    EXPECT_FALSE(saver.handleBlock(block(0, {1, 2, 3, 4})));
    EXPECT_FALSE(saver.complete());

    const auto written = readFile(file);
    EXPECT_EQ(written.substr(4, 4), std::string("\x28\0\0\0", 4)); // what is behind it
    EXPECT_EQ(written.substr(40), std::string("\4\0\0\0\2\1\4\3", 8));
}

TEST_F(SoundSaverTest, SaysWhatIsWrong) {
    SoundSaver saver(folder.path() / "missing" / "sound.wav", 1, &FakeDecoder::create);
    EXPECT_TRUE(saver.handleBlock(block(0, {1, 1}))); // no format yet
    EXPECT_TRUE(saver.handleLine("CONFIG_AUDIO,x"));
    const auto failure = saver.handleLine(kPcmLine);
    ASSERT_TRUE(failure);
    EXPECT_NE(failure->text.find("No such file"), std::string::npos);
}

TEST_F(SoundSaverTest, SaysWhenThereIsNoDecoder) {
    SoundSaver saver(file, 1, {});
    EXPECT_TRUE(
        saver.handleLine("CONFIG_AUDIO,8000.000000,1633772320,0,0,1024,0,1,0,0.500000,4096"));
}

} // namespace
} // namespace ovelo
