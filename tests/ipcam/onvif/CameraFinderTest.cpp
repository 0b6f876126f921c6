#include "ipcam/onvif/CameraFinder.h"

#include "fakes/UdpPeer.h"
#include "ipcam/onvif/OnvifTexts.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <functional>
#include <string>
#include <thread>
#include <vector>

namespace ovelo {
namespace {

using namespace std::chrono_literals;
using ::testing::IsEmpty;

/// A device on loopback that answers each probe.
class CameraFinderTest : public ::testing::Test {
protected:
    /// answers  what it sends for a probe of this id
    void answer(const std::function<std::vector<std::string>(const std::string& id)>& answers) {
        device_ = std::jthread([this, answers](const std::stop_token& stop) {
            while (!stop.stop_requested()) {
                const auto probe = peer_.receive(20ms);
                const std::size_t at = probe ? probe->find("urn:uuid:") : std::string::npos;
                if (at == std::string::npos) {
                    continue;
                }
                for (const std::string& text : answers(probe->substr(at, 9 + 36))) {
                    peer_.reply(text);
                }
            }
        });
    }

    CameraFinder::Options options(std::chrono::milliseconds duration = 90ms) const {
        return {"127.0.0.1", peer_.port(), duration};
    }

    static std::string match(const std::string& id, const std::string& address) {
        return onviftexts::probeMatch(id, "dn:NetworkVideoTransmitter", address, "");
    }

    UdpPeer peer_;
    std::jthread device_;
};

TEST_F(CameraFinderTest, FindsEachCameraOnceThoughItAsksTwice) {
    answer([](const std::string& id) {
        return std::vector{match(id, "http://10.0.0.8/"), match(id, "http://10.0.0.9/")};
    });

    const auto found = CameraFinder::find(options());

    ASSERT_TRUE(found) << found.error();
    ASSERT_EQ(found.value().size(), 2U);
    EXPECT_EQ(found.value()[0].addresses.front(), "http://10.0.0.8/");
    EXPECT_EQ(found.value()[1].addresses.front(), "http://10.0.0.9/");
}

TEST_F(CameraFinderTest, RubbishIsLeftOut) {
    answer([](const std::string& id) {
        return std::vector{std::string("\0\xFF", 2), std::string(60'000, '<'),
                           match("urn:uuid:other", "http://10.0.0.7/"),
                           match(id, "http://10.0.0.8/")};
    });

    const auto found = CameraFinder::find(options());

    ASSERT_TRUE(found) << found.error();
    ASSERT_EQ(found.value().size(), 1U);
    EXPECT_EQ(found.value()[0].addresses.front(), "http://10.0.0.8/");
}

TEST_F(CameraFinderTest, SilenceIsNoCamera) {
    const auto found = CameraFinder::find(options(30ms));

    ASSERT_TRUE(found) << found.error();
    EXPECT_THAT(found.value(), IsEmpty());
}

TEST_F(CameraFinderTest, CanBeStopped) {
    std::stop_source stop;
    stop.request_stop();
    const auto begin = std::chrono::steady_clock::now();

    const auto found = CameraFinder::find(options(60s), stop.get_token());

    EXPECT_TRUE(found);
    EXPECT_LT(std::chrono::steady_clock::now() - begin, 5s);
}

TEST_F(CameraFinderTest, SaysThatNobodyCanBeAsked) {
    const auto found = CameraFinder::find({"no address", 3702, 10ms});

    ASSERT_FALSE(found);
    EXPECT_EQ(found.error(), "not an IPv4 address: no address");
}

} // namespace
} // namespace ovelo
