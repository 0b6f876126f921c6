#include "viewer/DatagramGatherer.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace ovelo {
namespace {

class DatagramGathererTest : public ::testing::Test {
protected:
    /// The datagrams of a block, as servers cut them.
    static std::vector<std::string> block(unsigned frameID, std::size_t length,
                                          const std::string& kind = "Frame") {
        std::string payload;
        for (std::size_t at = 0; payload.size() < length; ++at) {
            payload += std::to_string(frameID * 100003 + at) + ' ';
        }
        payload.resize(length);
        const std::string message =
            "HEADER" + header(frameID, length, kind) + "TRAILER" + payload + "TRAILER";
        std::vector<std::string> datagrams;
        for (std::size_t at = 0; at < message.size(); at += 1000) {
            datagrams.push_back(message.substr(at, 1000));
        }
        return datagrams;
    }
    static std::string header(unsigned frameID, std::size_t length,
                              const std::string& kind = "Frame") {
        return kind + "," + std::to_string(frameID) + "," + std::to_string(length) + ",5,0\n";
    }
    std::string take(const std::string& datagram) {
        const auto whole = gatherer.take(
            {reinterpret_cast<const std::uint8_t*>(datagram.data()), datagram.size()});
        return {whole.begin(), whole.end()};
    }
    /// What becomes whole, the header lines only.
    std::string takeAll(const std::vector<std::string>& datagrams) {
        std::string headers;
        for (const std::string& datagram : datagrams) {
            const std::string whole = take(datagram);
            headers += whole.substr(0, whole.find('\n') + (whole.empty() ? 0 : 1));
        }
        return headers;
    }

    DatagramGatherer gatherer;
};

TEST_F(DatagramGathererTest, LineComesOutOfItsFrame) {
    EXPECT_EQ(take("HEADERCONNECTED\nTRAILER"), "CONNECTED\n");
}

TEST_F(DatagramGathererTest, LineWhoseEndWasCutOffIsWhole) {
    EXPECT_EQ(take("HEADERDATA_SOURCE|\xc3\xbc\nTRAILE"), "DATA_SOURCE|\xc3\xbc\n");
    EXPECT_EQ(take("HEADERlong one\n"), "long one\n");
    EXPECT_EQ(take("HEADERlong o"), "long o\n");
}

TEST_F(DatagramGathererTest, ProbesAndStraysAreLeftOut) {
    for (const char* stray :
         {"UDPUDPUDPUDP", "", "x", "TRAILER", "HEADERFrame,1,x,5,0\nTRAILER",
          "HEADERFrame,1,0,5,0\nTRAILER", "HEADERFrame,1,99999999,5,0\nTRAILER",
          "HEADERFrame,1,3,5,0", "HEADERFrame,1,3,5,0\npppTRAILER", "HEADERtwo\nlines\nTRAILER"}) {
        EXPECT_EQ(take(stray), "") << stray;
    }
    EXPECT_EQ(takeAll(block(1, 5)), header(1, 5));
}

TEST_F(DatagramGathererTest, BlockIsGatheredFromItsDatagrams) {
    const auto datagrams = block(17, 2500);
    ASSERT_EQ(datagrams.size(), 3U);
    EXPECT_EQ(take(datagrams[0]), "");
    EXPECT_EQ(take(datagrams[1]), "");

    const std::string whole = take(datagrams[2]);

    EXPECT_EQ(whole.size(), header(17, 2500).size() + 2500);
    EXPECT_TRUE(whole.starts_with("Frame,17,2500,5,0\n1700051 "));
}

TEST_F(DatagramGathererTest, BlocksOfEverySizeComeThrough) {
    for (std::size_t length = 950; length < 2050; ++length) {
        const auto id = static_cast<unsigned>(length);
        ASSERT_EQ(takeAll(block(id, length, "Audio")), header(id, length, "Audio"));
    }
}

TEST_F(DatagramGathererTest, BlockThatLostADatagramIsLeftOutAndTheNextOneIsWhole) {
    for (std::size_t lost = 0; lost < 4; ++lost) {
        const auto id = static_cast<unsigned>(lost);
        auto datagrams = block(id, 3500);
        datagrams.erase(datagrams.begin() + static_cast<long>(lost));
        EXPECT_EQ(takeAll(datagrams), "") << lost;
        EXPECT_EQ(takeAll(block(id + 100, 3500)), header(id + 100, 3500)) << lost;
    }
    EXPECT_EQ(gatherer.damaged(), 3U) << "of one nothing is known without its beginning";
}

TEST_F(DatagramGathererTest, DoubledDatagramsDoNoHarm) {
    for (std::size_t doubled = 0; doubled < 4; ++doubled) {
        const auto id = static_cast<unsigned>(doubled);
        auto datagrams = block(id, 3500);
        datagrams.insert(datagrams.begin() + static_cast<long>(doubled), datagrams[doubled]);
        EXPECT_EQ(takeAll(datagrams), header(id, 3500)) << doubled;
    }
}

TEST_F(DatagramGathererTest, DoubledDatagramDoesNotStandInForALostOne) {
    auto datagrams = block(1, 3500);
    datagrams[2] = datagrams[1];

    EXPECT_EQ(takeAll(datagrams), "");
}

TEST_F(DatagramGathererTest, WholeBlockThatCameTwiceComesOutOnce) {
    const auto datagrams = block(1, 900);
    EXPECT_EQ(takeAll(datagrams), header(1, 900));
    EXPECT_EQ(takeAll(datagrams), "");
}

TEST_F(DatagramGathererTest, LastDatagramBeforeItsTimeSpoilsTheBlock) {
    auto datagrams = block(1, 3500);
    std::swap(datagrams[2], datagrams[3]);

    EXPECT_EQ(takeAll(datagrams), "");
}

TEST_F(DatagramGathererTest, LineBetweenTheDatagramsOfABlockSpoilsNothing) {
    auto datagrams = block(1, 2500);
    datagrams.insert(datagrams.begin() + 1, "HEADERTEXT\nTRAILER");

    EXPECT_EQ(takeAll(datagrams), "TEXT\n" + header(1, 2500));
}

TEST_F(DatagramGathererTest, PictureCheckJudgesWhatHasTheRightShape) {
    std::size_t asked = 0;
    gatherer = DatagramGatherer([&](std::span<const std::uint8_t> picture) {
        asked = picture.size();
        return false;
    });

    EXPECT_EQ(takeAll(block(1, 2500)), "");
    EXPECT_EQ(asked, 2500U);
    EXPECT_EQ(takeAll(block(2, 2500, "Audio")), header(2, 2500, "Audio")) << "no picture";
}

} // namespace
} // namespace ovelo
