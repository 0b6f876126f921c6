// Motion through the whole program: a source is watched, and what the user chose is done.

#include "fakes/Eventually.h"
#include "fakes/MailServer.h"
#include "integration/Program.h"
#include "integration/WatchingViewer.h"

#include <gtest/gtest.h>

namespace ovelo {
namespace {

using namespace std::chrono_literals;

constexpr const char* kNothing = "v|Wall|videotestsrc is-live=true pattern=gray";

class MotionTest : public ::testing::Test {
protected:
    /// source  nothing for the Demo Camera, where something always moves
    void start(const std::string& source = {}) {
        if (source.empty()) {
            program.variable("OVELO_DEMO=1");
        } else {
            program.setting("captureSources=" + source);
        }
        program.start();
        ASSERT_TRUE(program.waitUntilListening()) << program.output();
    }
    void run(const std::string& command) {
        program.setting("alertCommand=\"" + command + "\"");
        program.setting("alertCommandSpacing=0");
        program.setting("motionSense=High");
    }
    [[nodiscard]] std::filesystem::path picture() const { return program.home() / "motion.jpeg"; }
    [[nodiscard]] bool logs(const std::string& text) const {
        return program.log().find(text) != std::string::npos;
    }

    Program program;
};

TEST_F(MotionTest, CommandOfTheUserGetsThePicture) {
    run("tee " + (program.home() / "motion.jpeg").string());
    start();

    ASSERT_TRUE(eventually([&] { return logs("Motion detected: 0."); }, 30s));
    EXPECT_TRUE(eventually([&] { return readFile(picture()).starts_with("\xFF\xD8\xFF"); }));
    EXPECT_TRUE(eventually([&] { return readFile(picture()).ends_with("\xFF\xD9"); }));
    EXPECT_EQ(program.terminate(), 0);
}

TEST_F(MotionTest, StillWallIsNoMotion) {
    run("tee " + (program.home() / "motion.jpeg").string());
    start(kNothing);

    std::this_thread::sleep_for(7s); // three comparisons
    EXPECT_FALSE(logs("Motion detected"));
    EXPECT_FALSE(std::filesystem::exists(picture()));
    EXPECT_EQ(program.terminate(), 0);
}

TEST_F(MotionTest, ViewerSwitchesItOnAndOff) {
    start();
    WatchingViewer viewer(program.port());
    std::this_thread::sleep_for(5s);
    EXPECT_FALSE(logs("Motion detected")) << "nothing is looked at while no alert is wanted";

    viewer.send("MotionConfig,High,0,1,0\n");
    EXPECT_TRUE(eventually([&] { return logs("Motion detected: 0."); }, 30s));
    EXPECT_EQ(program.stored("motionSense"), "High");
    EXPECT_EQ(program.stored("useMotionRecord"), "true");
}

TEST_F(MotionTest, CommandThatHangsDoesNotDelayTheEnd) {
    run("sleep 60");
    start();
    ASSERT_TRUE(eventually([&] { return logs("Motion detected: 0."); }, 30s));

    EXPECT_EQ(program.terminate(), 0);
}

} // namespace
} // namespace ovelo
