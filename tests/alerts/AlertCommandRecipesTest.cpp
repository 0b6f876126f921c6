// The recipes of docs/operations.md, carried out as they stand there but for the server's address.

#include "alerts/AlertCommand.h"
#include "fakes/FakeClock.h"
#include "fakes/HttpServer.h"
#include "fakes/QtWait.h"
#include "fakes/TestLog.h"
#include "platform/IniSettings.h"
#include "platform/MainThread.h"
#include "platform/QtMainLoop.h"

#include <gmock/gmock.h>

#include <cstdlib>

namespace ovelo {

namespace {

using testing::HasSubstr;
using testing::StartsWith;

class AlertCommandRecipesTest : public ::testing::Test {
protected:
    void SetUp() override {
        ::setenv("no_proxy", "*", 1); // the server is this computer
        for (int i = 0; i < 15000; ++i) {
            picture.push_back(static_cast<char>(i * 31 / 7));
        }
    }

    /// The shell line of the document that writes a command with this address.
    static std::string lineWith(const std::string& address) {
        const std::string document = readFile(OPERATIONS);
        static const std::string kBegin = "\novelo-settings write alertCommand ";
        for (auto at = document.find(kBegin); at != std::string::npos;
             at = document.find(kBegin, at + 1)) {
            const std::string line = document.substr(at + 1, document.find('\n', at + 1) - at - 1);
            if (line.find(address) != std::string::npos) {
                return line;
            }
        }
        return {};
    }

    /// Does what the document says, with our server in place of `address`, and then has a motion.
    void follow(const std::string& address) {
        std::string line = lineWith(address);
        ASSERT_FALSE(line.empty()) << address;
        line.replace(line.find(address), address.size(), server->url(""));
        const std::string shell = "PATH='" SETTINGS_FOLDER "':$PATH XDG_CONFIG_HOME='" +
                                  folder.path().string() + "' " + line;
        ASSERT_EQ(std::system(shell.c_str()), 0) << shell;

        const IniSettings settings(folder.path() / "Ovelo" / "Ovelo.ini");
        AlertCommand command({settings, clock, log.log()});
        command.motion(
            {clock.timeOfDay(), 0.25, 0.05, makeData(Bytes(picture.begin(), picture.end()))});
        ASSERT_TRUE(runLoopUntil([&] {
            return !server->requests().empty() || log.contains("Alert command failed");
        })) << line;
        runLoopUntil([&] { return log.contains("Alert command failed"); },
                     std::chrono::milliseconds(isToFail ? 5000 : 100));
        if (!isToFail) {
            ASSERT_EQ(log.text(), "");
            ASSERT_EQ(server->requests().size(), 1U);
            request = server->requests().front();
        }
    }

    QtMainLoop loop;
    TemporaryFolder folder;
    FakeClock clock;
    TestLog log;
    std::string picture;
    bool isToFail = false;
    std::unique_ptr<HttpServer> server =
        std::make_unique<HttpServer>(HttpServer::always("200 OK", "ok"));
    HttpServer::Request request;
};

TEST_F(AlertCommandRecipesTest, NtfyGetsThePictureAsAFileOfTheTopic) {
    follow("https://ntfy.example.org");
    EXPECT_THAT(request.firstLine(), StartsWith("PUT /front-door HTTP/"));
    EXPECT_EQ(request.header("Filename"), "motion.jpg");
    EXPECT_EQ(request.header("Title"), "Motion");
    EXPECT_EQ(request.body, picture);
}

TEST_F(AlertCommandRecipesTest, TelegramGetsThePictureAsAPhotoOfTheChat) {
    follow("https://api.telegram.org");
    EXPECT_THAT(request.firstLine(), StartsWith("POST /bot123456:TOKEN/sendPhoto HTTP/"));
    EXPECT_THAT(request.header("Content-Type"), StartsWith("multipart/form-data; boundary="));
    EXPECT_THAT(request.body, HasSubstr("name=\"chat_id\"\r\n\r\n42\r\n"));
    EXPECT_THAT(request.body, HasSubstr("name=\"photo\"; filename=\"motion.jpg\"\r\n"
                                        "Content-Type: image/jpeg\r\n"));
    EXPECT_NE(request.body.find("\r\n\r\n" + picture + "\r\n"), std::string::npos);
}

TEST_F(AlertCommandRecipesTest, HomeAssistantGetsWhatHappened) {
    follow("http://homeassistant.local:8123");
    EXPECT_THAT(request.firstLine(), StartsWith("POST /api/webhook/ovelo-motion HTTP/"));
    EXPECT_EQ(request.header("Content-Type"), "application/x-www-form-urlencoded");
    EXPECT_EQ(request.body,
              "event=motion&time=2023-11-14T22%3A13%3A20Z&ratio=0.250000&threshold=0.050000");
}

TEST_F(AlertCommandRecipesTest, AServerThatRefusesIsInTheEventLog) {
    isToFail = true;
    server = std::make_unique<HttpServer>(HttpServer::always("404 Not Found", "no"));
    follow("https://ntfy.example.org");
    EXPECT_THAT(log.text(), HasSubstr("Alert command failed: curl: exit status 22 - curl: (22) The "
                                      "requested URL returned error: 404"));
}

} // namespace

} // namespace ovelo
