// The real program and the real viewer, each behind a home router, who find each other through a
// rendezvous service.

#include "fakes/Eventually.h"
#include "fakes/TemporaryFolder.h"
#include "integration/Program.h"
#include "lab/NatLab.h"
#include "platform/Jpeg.h"

#include <fmt/format.h>
#include <gtest/gtest.h>
#include <signal.h>

#include <cstdlib>
#include <memory>
#include <ostream>
#include <string>
#include <vector>

namespace ovelo {
namespace {

using namespace std::chrono_literals;

constexpr const char* kViewerPort = "2000";

class UdpViewerLab {
public:
    UdpViewerLab(const std::string& kindA, const std::string& kindB) : lab_(kindA, kindB) {
        isReady_ = lab_.isBuilt() && lab_.startStunServer() && startRendezvous();
    }

    [[nodiscard]] bool isReady() const { return isReady_; }
    Program& program() { return program_; }

    void startProgram() {
        program_.variable("OVELO_DEMO=1");
        program_.setting("serviceUrl=http://11.22.33.3:8080");
        program_.setting("stunServers=11.22.33.1");
        NatLab::runIn("A", [this] { program_.start(); });
    }

    /// From now on both routers lose one datagram of twenty.
    static bool loseDatagrams() {
        constexpr const char* kRules =
            "'table ip loss { chain lose { type filter hook forward priority 10; "
            "meta l4proto udp numgen random mod 100 < 5 drop; }; }'";
        for (const char* router : {"natA", "natB"}) {
            if (std::system(fmt::format("PATH=$PATH:/usr/sbin:/sbin; ip netns exec {} nft {}",
                                        router, kRules)
                                .c_str()) != 0) {
                return false;
            }
        }
        return true;
    }

    /// Waits until the program has told where it can be reached, and from where to where.
    bool isRegistered(const std::string& address) {
        return rendezvous_->waitForOutput("registered " + address, 60s);
    }

    /// Waits for the viewer's pictures. return: those that came
    std::vector<std::string> watch(unsigned pictures, std::vector<std::string> options = {}) {
        std::vector<std::string> words = {OVELO_VIEWER,  "--udp",    kViewerPort,
                                          "--timeout",   "60",       "--save",
                                          file("p.jpg"), "--frames", std::to_string(pictures)};
        words.insert(words.end(), options.begin(), options.end());
        words.emplace_back("11.22.33.10:1726");
        std::unique_ptr<ChildProcess> viewer;
        NatLab::runIn("B", [&] { viewer = std::make_unique<ChildProcess>(words); });
        // Its last line names the last picture.
        EXPECT_TRUE(viewer->waitForOutput(fmt::format("p-{}.jpg: ", pictures), 100s))
            << viewer->output() << program_.log();
        std::vector<std::string> found;
        for (unsigned number = 1; number <= pictures; ++number) {
            found.push_back(readFile(file(fmt::format("p-{}.jpg", number))));
        }
        return found;
    }

private:
    bool startRendezvous() {
        rendezvous_ = std::make_unique<ChildProcess>(std::vector<std::string>{
            "ip", "netns", "exec", "inet", "python3", FAKES "/rendezvous_server.py", "11.22.33.3",
            "8080", std::string("11.22.33.20:") + kViewerPort});
        return rendezvous_->waitForOutput("listening");
    }
    std::string file(const std::string& name) const { return folder_.path() / name; }

    NatLab lab_;
    TemporaryFolder folder_;
    std::unique_ptr<ChildProcess> rendezvous_;
    Program program_; // ends first
    bool isReady_ = false;
};

bool isPicture(const std::string& jpeg) {
    const auto* bytes = reinterpret_cast<const std::uint8_t*>(jpeg.data());
    const auto picture = jpeg::decode({bytes, jpeg.size()});
    return picture && picture.value().width == 320 && picture.value().height == 240;
}

struct RouterPair {
    const char* program;
    const char* viewer;
};

void PrintTo(const RouterPair& pair, std::ostream* out) {
    *out << pair.program << " and " << pair.viewer;
}

class UdpViewerLabTest : public ::testing::TestWithParam<RouterPair> {};

TEST_P(UdpViewerLabTest, PictureComesThroughTheRoutersOfBothSides) {
    UdpViewerLab lab(GetParam().program, GetParam().viewer);
    ASSERT_TRUE(lab.isReady());
    lab.program().setting("password=secret");
    lab.startProgram();
    ASSERT_TRUE(lab.isRegistered("11.22.33.10 1726")) << lab.program().log();

    const auto pictures = lab.watch(3, {"--password", "secret"});

    for (const std::string& picture : pictures) {
        EXPECT_TRUE(isPicture(picture));
    }
    EXPECT_NE(lab.program().log().find("Accepted connection (U) 11.22.33.20"), std::string::npos);
    EXPECT_EQ(lab.program().terminate(), 0);
}

INSTANTIATE_TEST_SUITE_P(Pairs, UdpViewerLabTest,
                         ::testing::Values(RouterPair{"port", "port"}, RouterPair{"full", "addr"},
                                           RouterPair{"addr", "port"}),
                         [](const auto& tested) {
                             return fmt::format("{}_{}", tested.param.program, tested.param.viewer);
                         });

TEST(UdpViewerLossLabTest, DamagedPicturesAreNeverShownAndTheSessionLives) {
    UdpViewerLab lab("port", "port");
    ASSERT_TRUE(lab.isReady());
    ASSERT_TRUE(lab.loseDatagrams());
    lab.startProgram();
    ASSERT_TRUE(lab.isRegistered("11.22.33.10 1726")) << lab.program().log();

    const auto pictures = lab.watch(20);

    for (const std::string& picture : pictures) {
        EXPECT_TRUE(isPicture(picture));
    }
    EXPECT_EQ(lab.program().terminate(), 0);
}

TEST(UdpViewerStopLabTest, QuittingIsQuickWhileEveryOutsideServiceIsSilent) {
    UdpViewerLab lab("blocked", "port");
    ASSERT_TRUE(lab.isReady());
    lab.startProgram();
    ASSERT_TRUE(eventually(
        [&] { return lab.program().log().find("regToStunServer(): ") != std::string::npos; }, 15s));
    const auto begin = std::chrono::steady_clock::now();

    EXPECT_EQ(lab.program().terminate(), 0);

    EXPECT_LT(std::chrono::steady_clock::now() - begin, 2s);
}

} // namespace
} // namespace ovelo
