// The alerts that come a minute after the first motion, on the wall clock.

#include "fakes/Eventually.h"
#include "fakes/HttpServer.h"
#include "fakes/MailServer.h"
#include "integration/Program.h"
#include "integration/Recordings.h"

#include <gtest/gtest.h>

namespace ovelo {
namespace {

using namespace std::chrono_literals;

TEST(MotionSlowTest, StreetIsRecordedMailedAndPushedAMinuteAfterTheFirstMotion) {
    MailServer mail({"plain"});
    HttpServer push(HttpServer::always("200 OK", "done"));
    Program program;
    program.setting(
        "captureSources=v|Street|file:///usr/share/doc/opencv-doc/examples/data/vtest.avi");
    program.setting("log_events=true");
    program.setting("motionSense=High");
    program.setting("useMotionEmail=true");
    program.setting("useMotionRecord=true");
    program.setting("usePushNotification=true");
    program.setting("devList=phone-one, phone-two");
    program.setting("serviceUrl=" + push.url(""));
    program.setting("smtpHost=127.0.0.1");
    program.setting("smtpPort=" + std::to_string(mail.port()));
    program.setting("smtpEmail=me@example.org");
    program.setting("smtpLogin=me");
    program.setting("smtpPass=swordfish");
    program.setting("smtpSsl=false");
    program.start();
    ASSERT_TRUE(program.waitUntilListening()) << program.output();
    const auto began = std::chrono::steady_clock::now();

    // The street moves at this sensitivity once in ten seconds or so.
    ASSERT_TRUE(eventually([&] { return mail.mails() == 1; }, 150s)) << program.log();
    EXPECT_GE(std::chrono::steady_clock::now() - began, 60s);
    ASSERT_TRUE(eventually([&] { return push.requestCount() == 2; }, 60s)) << program.log();
    ASSERT_TRUE(eventually(
        [&] { return program.log().find("Did start recording to ") != std::string::npos; }, 120s))
        << program.log();
    std::this_thread::sleep_for(3s);
    EXPECT_EQ(program.terminate(), 0);

    const ReceivedMail received = mail.mail();
    EXPECT_EQ(received.field("subject"), "Message from Ovelo Motion Detector");
    EXPECT_EQ(received.attachmentName(), "Ovelo.jpeg");
    EXPECT_TRUE(received.attachment().starts_with("\xFF\xD8\xFF"));
    EXPECT_EQ(received.defects(), "");
    EXPECT_NE(push.requests().front().body.find("Motion Detector has detected a movement at "),
              std::string::npos);
    EXPECT_EQ(moviesIn(program.home() / "Documents" / "Ovelo").size(), 1U);
    EXPECT_EQ(program.log().find("swordfish"), std::string::npos);
    EXPECT_EQ(program.output().find("swordfish"), std::string::npos);
}

} // namespace
} // namespace ovelo
