#include "support/DriverSetting.h"

#include "fakes/FakeAlerts.h"
#include "fakes/QtWait.h"
#include "fakes/TemporaryFolder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

namespace ovelo {
namespace {

namespace fs = std::filesystem;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::StartsWith;

/// The archive of the build, in folders of the test's own; programs are really run.
class DriverSettingTest : public ::testing::Test {
protected:
    DriverSettingTest() { fs::create_directory(paths.unpackFolder); }
    ~DriverSettingTest() override {
        if (!savedPath.empty()) {
            ::setenv("PATH", savedPath.c_str(), 1);
        }
    }

    void make() {
        setting = std::make_unique<DriverSetting>(DriverSetting::Environment{
            alerts, paths,
            [this](const ChildProcess::Request& request,
                   std::function<void(const ChildProcess::Ending&)> ended) {
                commands.push_back(request.command);
                return ChildProcess::start(request, std::move(ended));
            },
            mover});
    }

    /// Presses the other button, and waits until what it starts is over.
    bool agree() {
        setting->videoDriverAction();
        alerts.answer(true);
        return runLoopUntil([this] { return !setting->isBusy(); });
    }

    /// A stand-in for the program that asks for an administrator's password.
    void pretendPkexec(const std::string& script) {
        const fs::path bin = folder.path() / "bin";
        fs::create_directory(bin);
        writeFile(bin / "pkexec", "#!/bin/sh\n" + script + "\n");
        fs::permissions(bin / "pkexec", fs::perms::owner_all);
        savedPath = ::getenv("PATH");
        ::setenv("PATH", (bin.string() + ":" + savedPath).c_str(), 1);
    }

    static std::error_code noRights(const fs::path&, const fs::path&) {
        return std::make_error_code(std::errc::permission_denied);
    }

    bool isInstalled() const { return fs::exists(paths.component / "Contents" / "Info.plist"); }

    TemporaryFolder folder;
    FakeAlerts alerts;
    DriverSetting::Paths paths{
        .archive = DRIVER_ARCHIVE,
        .component = folder.path() / "Lib rary" / "QuickTime" / "IPCam.component",
        .workingCopy = folder.path() / "t \"m\" p" / "IPCam.component.zip",
        .unpackFolder = folder.path() / "t \"m\" p",
    };
    std::function<std::error_code(const fs::path&, const fs::path&)> mover = &DriverSetting::move;
    std::vector<std::string> commands;
    std::string savedPath;
    std::unique_ptr<DriverSetting> setting;
};

TEST_F(DriverSettingTest, TellsThatTheDriverIsMissing) {
    make();

    EXPECT_FALSE(setting->isVideoDriverInstalled());
    EXPECT_EQ(setting->videoDriverStatusText(), "Driver Not Installed");
    EXPECT_EQ(setting->videoDriverButtonText(), "Install Driver");
}

TEST_F(DriverSettingTest, TellsThatTheDriverIsThere) {
    fs::create_directories(paths.component);
    make();

    EXPECT_TRUE(setting->isVideoDriverInstalled());
    EXPECT_EQ(setting->videoDriverStatusText(), "Driver Installed");
    EXPECT_EQ(setting->videoDriverButtonText(), "Uninstall Driver");
}

TEST_F(DriverSettingTest, PlacesOfTheSystemAreFixed) {
    const DriverSetting::Paths fixed;
    EXPECT_EQ(fixed.component, "/Library/QuickTime/IPCam.component");
    EXPECT_EQ(fixed.workingCopy, "/tmp/IPCam.component.zip");
    EXPECT_EQ(fixed.unpackFolder, "/tmp");
}

TEST_F(DriverSettingTest, AsksBeforeItInstalls) {
    make();

    setting->videoDriverAction();

    ASSERT_EQ(alerts.asked.size(), 1U);
    EXPECT_EQ(alerts.asked[0].message, "Install IPCam Driver? ");
    EXPECT_EQ(alerts.asked[0].informativeText,
              "IPCam driver is required to use IP cameras with Ovelo.");
    EXPECT_EQ(alerts.asked[0].defaultButton, "Cancel");
    EXPECT_EQ(alerts.asked[0].otherButton, "Install");
}

TEST_F(DriverSettingTest, AsksBeforeItUninstalls) {
    fs::create_directories(paths.component);
    make();

    setting->videoDriverAction();

    ASSERT_EQ(alerts.asked.size(), 1U);
    EXPECT_EQ(alerts.asked[0].message, "Uninstall IPCam Driver? ");
    EXPECT_EQ(alerts.asked[0].informativeText,
              "Uninstall IPCam driver if it interferes with other applications.  When you want to "
              "use it later, you can re-install the driver again.  Please reboot the mac "
              "afterwards.");
    EXPECT_EQ(alerts.asked[0].defaultButton, "Cancel");
    EXPECT_EQ(alerts.asked[0].otherButton, "Uninstall");
}

TEST_F(DriverSettingTest, CancelChangesNothingAndRefreshesTheTexts) {
    make();
    setting->videoDriverAction();
    setting->setVideoDriverStatusText("?");
    alerts.answer(false);
    EXPECT_EQ(setting->videoDriverStatusText(), "Driver Not Installed");
    EXPECT_THAT(commands, IsEmpty());
    EXPECT_FALSE(setting->isVideoDriverInstalled());

    fs::create_directories(paths.component);
    setting->videoDriverAction();
    setting->setVideoDriverButtonText("?");
    alerts.answer(false);
    EXPECT_EQ(setting->videoDriverButtonText(), "Uninstall Driver");
    EXPECT_TRUE(setting->isVideoDriverInstalled());
}

TEST_F(DriverSettingTest, InstallsWhatTheArchiveHolds) {
    make();
    int changes = 0;
    setting->changed().connect([&] { ++changes; });

    ASSERT_TRUE(agree());

    EXPECT_TRUE(isInstalled());
    EXPECT_EQ(setting->videoDriverStatusText(), "Driver Installed");
    EXPECT_EQ(setting->videoDriverButtonText(), "Uninstall Driver");
    EXPECT_TRUE(fs::is_empty(paths.unpackFolder)) << "something is left behind";
    EXPECT_THAT(alerts.told, IsEmpty());
    EXPECT_THAT(commands.at(0), StartsWith("\"/usr/bin/unzip\" \"-d\""));
    EXPECT_GT(changes, 0);
}

TEST_F(DriverSettingTest, Uninstalls) {
    make();
    ASSERT_TRUE(agree());

    ASSERT_TRUE(agree());

    EXPECT_FALSE(fs::exists(paths.component));
    EXPECT_EQ(setting->videoDriverStatusText(), "Driver Not Installed");
    EXPECT_EQ(commands.size(), 1U) << "only the unpacking is a program";
}

TEST_F(DriverSettingTest, OldWorkingCopyIsReplaced) {
    writeFile(paths.workingCopy, "an older one");
    make();

    ASSERT_TRUE(agree());

    EXPECT_TRUE(isInstalled());
}

TEST_F(DriverSettingTest, LinkInThePlaceOfTheWorkingCopyIsNotFollowed) {
    writeFile(folder.path() / "precious", "mine");
    fs::create_symlink(folder.path() / "precious", paths.workingCopy);
    make();

    ASSERT_TRUE(agree());

    EXPECT_EQ(readFile(folder.path() / "precious"), "mine");
    EXPECT_TRUE(isInstalled());
}

TEST_F(DriverSettingTest, MissingArchiveIsShown) {
    paths.archive = folder.path() / "none.zip";
    make();

    ASSERT_TRUE(agree());

    ASSERT_EQ(alerts.told.size(), 1U);
    EXPECT_THAT(alerts.told[0], HasSubstr("No such file or directory / "));
    EXPECT_TRUE(alerts.told[0].ends_with(" / ")) << "there is an informative text";
    EXPECT_THAT(commands, IsEmpty());
}

TEST_F(DriverSettingTest, FailedUnpackingShowsAsAFailedMove) {
    paths.archive = folder.path() / "bad.zip";
    writeFile(paths.archive, "not a zip archive");
    make();

    ASSERT_TRUE(agree());

    ASSERT_EQ(alerts.told.size(), 1U);
    EXPECT_THAT(alerts.told[0], HasSubstr("IPCam.component: No such file or directory"));
    EXPECT_FALSE(fs::exists(paths.workingCopy));
    EXPECT_EQ(setting->videoDriverStatusText(), "Driver Not Installed");
}

TEST_F(DriverSettingTest, StaleComponentMakesTheMoveFail) {
    fs::create_directory(paths.unpackFolder / "IPCam.component");
    writeFile(paths.unpackFolder / "IPCam.component" / "evil", "");
    make();

    ASSERT_TRUE(agree());

    ASSERT_EQ(alerts.told.size(), 1U);
    EXPECT_THAT(alerts.told[0], HasSubstr("IPCam.component: File exists"));
    EXPECT_FALSE(fs::exists(paths.component));
    EXPECT_TRUE(fs::exists(paths.unpackFolder / "IPCam.component" / "evil")) << "it is not ours";
}

TEST_F(DriverSettingTest, WithoutRightsAnAdministratorInstalls) {
    pretendPkexec("exec \"$@\"");
    mover = &noRights;
    make();

    ASSERT_TRUE(agree());

    EXPECT_TRUE(isInstalled());
    EXPECT_THAT(alerts.told, IsEmpty());
    EXPECT_TRUE(fs::is_empty(paths.unpackFolder)) << "something is left behind";
}

TEST_F(DriverSettingTest, RefusalOfTheAdministratorIsShownAndLeavesNothingBehind) {
    pretendPkexec("echo 'Request dismissed' >&2; exit 126");
    mover = &noRights;
    make();

    ASSERT_TRUE(agree());

    ASSERT_EQ(alerts.told.size(), 1U);
    EXPECT_THAT(alerts.told[0],
                HasSubstr("IPCam.component: pkexec: exit status 126 - Request dismissed / "));
    EXPECT_FALSE(fs::exists(paths.component));
    EXPECT_TRUE(fs::is_empty(paths.unpackFolder)) << "it would be in the way of the next attempt";
}

TEST_F(DriverSettingTest, AdministratorDoesNotOverwriteWhatIsThere) {
    pretendPkexec("exec \"$@\"");
    mover = [this](const fs::path&, const fs::path& to) {
        fs::create_directories(to); // it comes in between
        writeFile(to / "other", "");
        return noRights({}, {});
    };
    make();

    ASSERT_TRUE(agree());

    EXPECT_EQ(alerts.told.size(), 1U);
    EXPECT_TRUE(fs::exists(paths.component / "other"));
    EXPECT_FALSE(isInstalled());
}

TEST_F(DriverSettingTest, SecondRequestIsHarmlessWhileOneIsUnderWay) {
    make();
    setting->videoDriverAction();
    alerts.answer(true);
    ASSERT_TRUE(setting->isBusy());

    setting->videoDriverAction();

    EXPECT_EQ(alerts.asked.size(), 1U);
    EXPECT_TRUE(runLoopUntil([this] { return !setting->isBusy(); }));
}

TEST_F(DriverSettingTest, AnswerAfterItsEndDoesNothing) {
    make();
    setting->videoDriverAction();
    setting.reset();

    alerts.answer(true);

    EXPECT_THAT(commands, IsEmpty());
}

TEST_F(DriverSettingTest, EndInTheMiddleOfUnpackingIsHarmless) {
    make();
    setting->videoDriverAction();
    alerts.answer(true);

    setting.reset();

    EXPECT_FALSE(fs::exists(paths.component));
}

TEST_F(DriverSettingTest, MovesToAnotherFileSystemToo) {
    const fs::path other = "/dev/shm/ovelo-driver-test-" + folder.path().filename().string();
    fs::create_directory(other);
    fs::create_directory(folder.path() / "from");
    writeFile(folder.path() / "from" / "file", "content");

    const std::error_code error = DriverSetting::move(folder.path() / "from", other / "a" / "to");

    EXPECT_FALSE(error) << error.message();
    EXPECT_EQ(readFile(other / "a" / "to" / "file"), "content");
    EXPECT_FALSE(fs::exists(folder.path() / "from"));
    EXPECT_FALSE(fs::exists(other / "a" / "to.part"));
    fs::remove_all(other);
}

} // namespace
} // namespace ovelo
