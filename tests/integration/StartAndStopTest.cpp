// The whole program: what a user sees of its start and its end.

#include "fakes/Eventually.h"
#include "integration/Program.h"
#include "integration/WireViewer.h"

#include <gtest/gtest.h>
#include <signal.h>

#include <memory>
#include <stdexcept>

namespace ovelo {
namespace {

double difference(const QImage& left, const QImage& right) {
    double sum = 0;
    for (int y = 0; y < left.height(); ++y) {
        for (int x = 0; x < left.width(); ++x) {
            sum += std::abs(qGreen(left.pixel(x, y)) - qGreen(right.pixel(x, y)));
        }
    }
    return sum / (left.width() * left.height());
}

TEST(StartAndStopTest, DemoCameraShowsMovingPictures) {
    Program program;
    program.variable("OVELO_DEMO=1");
    program.start();
    ASSERT_TRUE(program.waitUntilListening()) << program.output();

    WireViewer viewer(program.port());
    const QImage first = viewer.nextPicture();
    ASSERT_EQ(first.size(), QSize(320, 240)) << program.output() << program.log();
    EXPECT_EQ(viewer.greeting, "CONNECTED\nVERSION,1.000000,Low,0,0,0");
    bool moved = false;
    for (int index = 0; index < 40 && !moved; ++index) {
        moved = difference(first, viewer.nextPicture()) > 0.2;
    }
    EXPECT_TRUE(moved);
    viewer.pictureAfter("");
    EXPECT_EQ(viewer.lastLine, "DATA_SOURCE|Demo Camera|Ovelo Demo Camera|v|1|"
                               "Demo Microphone|Ovelo Demo Microphone|a|1")
        << "the demo devices, both chosen";
    EXPECT_EQ(program.terminate(), 0);
}

TEST(StartAndStopTest, FirstStartStoresAndUsesTheUsualPort) {
    Program program;
    program.start("[General]\nemail=test@example.org\n");

    EXPECT_TRUE(eventually([&] { return program.stored("port") == "1726"; }));
    EXPECT_TRUE(eventually([] {
        try {
            return Peer(1726).line() == "CONNECTED";
        } catch (const std::runtime_error&) {
            return false; // not listening yet
        }
    }));
    EXPECT_EQ(program.terminate(), 0);
}

TEST(StartAndStopTest, FirstStartOfAllFindsTheCameraThoughThePluginsAreNotKnownYet) {
    Program program;
    program.setting("captureSources=\"v|Ball|videotestsrc is-live=true pattern=ball\"");
    program.variable("GST_REGISTRY=" + (program.home() / "registry").string());
    program.variable("GST_REGISTRY_REUSE_PLUGIN_SCANNER=no"); // looks for a long time
    program.start();
    ASSERT_TRUE(program.waitUntilListening(std::chrono::seconds(60))) << program.output();

    EXPECT_FALSE(WireViewer(program.port()).nextPicture().isNull()) << program.log();
    EXPECT_EQ(program.terminate(), 0);
}

TEST(StartAndStopTest, WithoutAnEmailSaysHowToSetItAndWaits) {
    Program program;
    program.setting("email=a@");
    program.start();
    EXPECT_TRUE(eventually(
        [&] { return program.output().find("ovelo-settings write email") != std::string::npos; }));
    EXPECT_TRUE(program.isRunning());

    std::string settings = readFile(program.settingsFile());
    settings.replace(settings.find("email=a@"), 8, "email=me@example.org");
    writeFile(program.settingsFile(), settings);

    EXPECT_TRUE(program.waitUntilListening()) << program.output();
    EXPECT_EQ(program.terminate(), 0);
}

TEST(StartAndStopTest, EndsWhileItWaitsForTheEmail) {
    Program program;
    program.setting("email=a@");
    program.start();
    EXPECT_TRUE(eventually(
        [&] { return program.output().find("ovelo-settings write email") != std::string::npos; }));

    EXPECT_EQ(program.terminate(), 0);
}

TEST(StartAndStopTest, EndsCleanlyWithAHundredViewers) {
    for (const int number : {SIGTERM, SIGINT}) {
        Program program;
        program.variable("OVELO_DEMO=1");
        program.start();
        ASSERT_TRUE(program.waitUntilListening());
        std::vector<std::unique_ptr<WireViewer>> viewers;
        for (int index = 0; index < 100; ++index) {
            viewers.push_back(std::make_unique<WireViewer>(program.port()));
        }
        EXPECT_FALSE(viewers.back()->nextJpeg().empty());

        program.signal(number);

        EXPECT_EQ(program.waitForExit(std::chrono::seconds(3)), 0) << program.output();
        EXPECT_TRUE(viewers.front()->peer().isClosedByServer());
        EXPECT_NE(program.log().find("TCP: Stopping server"), std::string::npos);
        EXPECT_EQ(program.stored("lastSelectedVideoDevice"), "Demo Camera");
    }
}

TEST(StartAndStopTest, SecondOneOnTheSamePortSaysSoAndLivesOn) {
    Program first;
    first.start();
    ASSERT_TRUE(first.waitUntilListening());
    Program second;
    second.setting("port=" + std::to_string(first.port()));
    second.start();

    EXPECT_TRUE(eventually([&] {
        return second.log().find("Network Status: Server failed to start.\n") != std::string::npos;
    })) << second.log();
    EXPECT_TRUE(second.isRunning());
    EXPECT_EQ(second.terminate(), 0);
    EXPECT_EQ(first.terminate(), 0);
}

TEST(StartAndStopTest, SettingOfAnotherProcessIsSeenWithinASecond) {
    Program program;
    program.variable("OVELO_DEMO=1");
    program.start();
    ASSERT_TRUE(program.waitUntilListening());
    WireViewer viewer(program.port());
    ASSERT_FALSE(viewer.nextPicture().isNull());

    std::string settings = readFile(program.settingsFile());
    writeFile(program.settingsFile(), settings + "night_vision=true\n");

    EXPECT_TRUE(eventually(
        [&] {
            const QRgb pixel = viewer.nextPicture().pixel(160, 40);
            return qGreen(pixel) > 4 * qRed(pixel) && qGreen(pixel) > 4 * qBlue(pixel);
        },
        std::chrono::milliseconds(1500)));
    EXPECT_EQ(program.terminate(), 0);
}

} // namespace
} // namespace ovelo
