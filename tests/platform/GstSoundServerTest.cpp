#include "platform/GstSoundServer.h"

#include "fakes/TemporaryFolder.h"

#include <gtest/gtest.h>

namespace ovelo {

namespace {

TEST(GstSoundServerTest, TellsWhenASocketComesGoesOrIsMadeAnew) {
    const TemporaryFolder folder;
    const auto path = folder.path() / "native";
    const std::vector<std::string> sockets = {path.string()};
    const auto absent = soundServerState(sockets);
    writeFile(path, "");
    const auto first = soundServerState(sockets);
    EXPECT_NE(first, absent);
    EXPECT_EQ(soundServerState(sockets), first);
    writeFile(folder.path() / "next", "");
    std::filesystem::rename(folder.path() / "next", path);
    EXPECT_NE(soundServerState(sockets), first);
    std::filesystem::remove(path);
    EXPECT_EQ(soundServerState(sockets), absent);
}

TEST(GstSoundServerTest, LooksWhereTheEnvironmentPoints) {
    ::setenv("PULSE_SERVER", "unix:/tmp/some/socket", 1);
    const auto sockets = soundServerSockets();
    ::unsetenv("PULSE_SERVER");
    EXPECT_NE(std::find(sockets.begin(), sockets.end(), "/tmp/some/socket"), sockets.end());
}

} // namespace

} // namespace ovelo
