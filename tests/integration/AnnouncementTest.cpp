// The whole program beside a real Avahi daemon on loopback.

#include "fakes/Eventually.h"
#include "integration/Program.h"
#include "platform/AvahiLab.h"

#include <gtest/gtest.h>

namespace ovelo {
namespace {

TEST(AnnouncementTest, ServiceIsFoundWhileTheProgramRunsAndGoneAfterQuit) {
    if (const auto obstacle = AvahiLab::obstacle(); !obstacle.empty()) {
        GTEST_SKIP() << "NOT TESTED: " << obstacle;
    }
    AvahiLab lab;
    lab.startBus();
    lab.startDaemon();
    Program program;
    program.start();
    ASSERT_TRUE(program.waitUntilListening());
    const std::string port = ";" + std::to_string(program.port()) + ";";
    const auto isFound = [&] {
        const std::string found = lab.browse("_lumenwatch._tcp");
        return found.find(";_lumenwatch_") != std::string::npos &&
               found.find(port) != std::string::npos;
    };

    EXPECT_TRUE(eventually(isFound, std::chrono::seconds(20))) << program.log();
    EXPECT_NE(program.log().find("Bonjour Status: Bonjour service started...\n"),
              std::string::npos);
    EXPECT_EQ(program.terminate(), 0);
    EXPECT_TRUE(eventually([&] { return !isFound(); }, std::chrono::seconds(10)));
}

} // namespace
} // namespace ovelo
