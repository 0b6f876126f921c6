#include "fakes/Eventually.h"
#include "ipcam/IPCamFixture.h"

namespace ovelo {
namespace {

using namespace std::chrono_literals;

class IPCamTest : public IPCamFixture {};

TEST_F(IPCamTest, BeginsEmptyAndStopped) {
    const IPCam fresh({http, settings, log.log(), pictures, file});

    EXPECT_EQ(fresh.name(), "");
    EXPECT_EQ(fresh.urlString(), "");
    EXPECT_EQ(fresh.userId(), "");
    EXPECT_EQ(fresh.password(), "");
    EXPECT_FALSE(fresh.started());
}

TEST_F(IPCamTest, KindIsToldByTheMimeType) {
    EXPECT_EQ(IPCam::getCamType(head("image/jpeg")), 0);
    EXPECT_EQ(IPCam::getCamType(head("Image/JPEG; quality=40")), 0);
    EXPECT_EQ(IPCam::getCamType(head("multipart/x-mixed-replace;boundary=x")), 1);
    EXPECT_EQ(IPCam::getCamType(head("multipart/mixed;boundary=x")), 2);
    EXPECT_EQ(IPCam::getCamType(head("text/html; like=image/jpeg")), 2);
    EXPECT_EQ(IPCam::getCamType({200, {}}), 2);
}

TEST_F(IPCamTest, SinglePictureIsWrittenAndAskedForAgain) {
    cam->start();
    ASSERT_TRUE(untilRequest(0));
    EXPECT_EQ(http.exchanges[0]->request.url, "http://camera/");
    EXPECT_EQ(http.exchanges[0]->request.method, "GET");
    EXPECT_TRUE(http.exchanges[0]->request.reloadIgnoringCache);
    EXPECT_TRUE(http.exchanges[0]->request.followRedirects);
    replyPicture(0, "one");
    ASSERT_TRUE(untilRequest(1));
    EXPECT_EQ(shown(), "o");
    replyPicture(1, "two");
    ASSERT_TRUE(untilRequest(2));

    EXPECT_EQ(shown(), "t");
    EXPECT_EQ(log.text(), "");
}

TEST_F(IPCamTest, EachRoundLastsOneWaitAtLeast) {
    timing.wait = 40ms;
    makeCamera();
    const auto begin = std::chrono::steady_clock::now();
    cam->start();
    for (std::size_t round = 0; round < 3; ++round) {
        ASSERT_TRUE(untilRequest(round));
        replyPicture(round, "x");
    }
    ASSERT_TRUE(untilRequest(3));

    EXPECT_GE(std::chrono::steady_clock::now() - begin, 120ms);
}

TEST_F(IPCamTest, PictureOfASlowCameraIsAwaited) {
    cam->start();
    ASSERT_TRUE(untilRequest(0));
    http.respond(0, head("image/jpeg"));
    http.send(0, "a");
    EXPECT_FALSE(until([&] { return !pictures.decoded().empty(); }, 80ms));
    http.send(0, "b");
    http.finish(0);
    ASSERT_TRUE(untilRequest(1));

    EXPECT_EQ(pictures.decoded(), (std::vector<std::string>{"ab"}));
}

TEST_F(IPCamTest, PictureThatDoesNotEndIsTakenAsItIsAfterTenWaits) {
    hurry();
    cam->start();
    ASSERT_TRUE(untilRequest(0));
    http.respond(0, head("image/jpeg"));
    http.send(0, "bad half");
    ASSERT_TRUE(untilRequest(1));

    EXPECT_EQ(pictures.decoded(), (std::vector<std::string>{"bad half"}));
    EXPECT_TRUE(http.exchanges[0]->isCancelled);
}

TEST_F(IPCamTest, LateNewsOfARequestIsNotTakenForTheNextOnes) {
    hurry();
    cam->start();
    ASSERT_TRUE(untilRequest(0));
    http.respond(0, head("image/jpeg"));
    http.send(0, "a");
    ASSERT_TRUE(eventually([&] { return !pictures.decoded().empty(); })); // main is not served
    http.send(0, "late");
    http.fail(0, "late");
    ASSERT_TRUE(untilRequest(1));
    EXPECT_EQ(cam->reqReturnCode(), 5);
    replyPicture(1, "b");
    ASSERT_TRUE(untilRequest(2));

    EXPECT_EQ(pictures.decoded(), (std::vector<std::string>{"a", "b"}));
    EXPECT_EQ(log.text(), "");
}

TEST_F(IPCamTest, DamagedPicturesAreLeftOutAndSaidOnce) {
    cam->start();
    for (const char* picture : {"one", "bad", "bad", "two", "bad"}) {
        const std::size_t number = http.exchanges.size();
        ASSERT_TRUE(untilRequest(number));
        replyPicture(number, picture);
    }
    ASSERT_TRUE(untilRequest(http.exchanges.size()));

    EXPECT_EQ(shown(), "t");
    const std::string text = log.text();
    const auto first = text.find("IPCam: picture left out: damaged: bad\n");
    const auto second = text.find("IPCam: picture left out: damaged: bad\n", first + 1);
    EXPECT_NE(second, std::string::npos);
    EXPECT_EQ(text.find("IPCam: picture left out", second + 1), std::string::npos);
}

TEST_F(IPCamTest, PageInsteadOfAPictureEndsTheGrabber) {
    cam->start();
    ASSERT_TRUE(untilRequest(0));
    http.respond(0, head("text/html"));
    http.send(0, "<html>");
    ASSERT_TRUE(untilEnded());

    EXPECT_TRUE(log.text().ends_with(": IPCam unknown URL response."));
    EXPECT_EQ(cam->reqReturnCode(), 2);
    EXPECT_TRUE(http.exchanges[0]->isCancelled);
}

TEST_F(IPCamTest, StreamWithoutABoundaryEndsTheGrabber) {
    cam->start();
    ASSERT_TRUE(untilRequest(0));
    http.respond(0, head("multipart/x-mixed-replace"));
    http.send(0, "--b\r\n");
    ASSERT_TRUE(untilEnded());

    EXPECT_TRUE(log.text().ends_with(": IPCam MJpeg boundary not found."));
    EXPECT_EQ(http.exchanges.size(), 1U);
}

TEST_F(IPCamTest, WrongPasswordIsTriedOnceAndEndsTheGrabber) {
    cam->setUserId("bob");
    cam->setPassword("wrong");
    cam->start();
    ASSERT_TRUE(untilRequest(0));
    const auto answer = http.challenge(0, 0);
    ASSERT_TRUE(answer);
    EXPECT_EQ(answer->user, "bob");
    EXPECT_EQ(answer->password, "wrong");
    EXPECT_FALSE(http.challenge(0, 1));
    http.fail(0, "rejected");
    ASSERT_TRUE(untilEnded());

    EXPECT_EQ(cam->reqReturnCode(), 1);
    const std::string text = log.text();
    EXPECT_NE(text.find(": IPCam: Authenticaion failed."), std::string::npos);
    EXPECT_TRUE(text.ends_with(": IPCam frameGrabberThread: failed to get data.")) << text;
}

TEST_F(IPCamTest, EmptyCredentialsCountAsCredentials) {
    cam->start();
    ASSERT_TRUE(untilRequest(0));
    const auto answer = http.challenge(0, 0);

    ASSERT_TRUE(answer);
    EXPECT_EQ(answer->user + answer->password, "");
}

TEST_F(IPCamTest, MissingCredentialsEndTheGrabber) {
    cam->setPassword(std::nullopt);
    cam->start();
    ASSERT_TRUE(untilRequest(0));
    EXPECT_FALSE(http.challenge(0, 0));
    http.fail(0, "cancelled");
    ASSERT_TRUE(untilEnded());

    EXPECT_EQ(cam->reqReturnCode(), 0);
    EXPECT_TRUE(log.contains("IPCam: Authenticaion required by userid/password not supplied."));
}

TEST_F(IPCamTest, FailedRequestEndsTheGrabberAndSaysWhy) {
    cam->start();
    ASSERT_TRUE(untilRequest(0));
    EXPECT_EQ(cam->reqReturnCode(), 5);
    http.fail(0, "certificate");
    ASSERT_TRUE(untilEnded());

    EXPECT_EQ(cam->reqReturnCode(), 3);
    EXPECT_TRUE(log.contains("IPCam: request failed: certificate\n"));
    EXPECT_TRUE(log.text().ends_with(": IPCam frameGrabberThread: failed to get data."));
}

TEST_F(IPCamTest, ResponseWithoutABodyEndsTheGrabber) {
    cam->start();
    ASSERT_TRUE(untilRequest(0));
    http.respond(0, head("image/jpeg"));
    http.finish(0);
    ASSERT_TRUE(untilEnded());

    EXPECT_EQ(cam->reqReturnCode(), 2);
    EXPECT_TRUE(log.text().ends_with(": IPCam frameGrabberThread: failed to get data."));
}

TEST_F(IPCamTest, ResponseWhoseBodyDoesNotBeginEndsTheGrabber) {
    hurry();
    cam->start();
    ASSERT_TRUE(untilRequest(0));
    http.respond(0, head(kStream));
    ASSERT_TRUE(untilEnded());

    EXPECT_TRUE(log.text().ends_with(": IPCam frameGrabberThread: failed to get data."));
    EXPECT_EQ(http.exchanges.size(), 1U);
}

TEST_F(IPCamTest, StreamMayBeginWithSilence) {
    cam->start();
    ASSERT_TRUE(untilRequest(0));
    http.respond(0, head(kStream));
    EXPECT_FALSE(until([&] { return http.exchanges.size() > 1; }, 80ms));
    http.send(0, "--b\r\n");

    EXPECT_TRUE(untilRequest(1));
}

TEST_F(IPCamTest, SilentServerIsGivenUpAfterTenWaits) {
    hurry();
    const auto begin = std::chrono::steady_clock::now();
    cam->start();
    ASSERT_TRUE(untilEnded());

    EXPECT_GE(std::chrono::steady_clock::now() - begin, 50ms);
    EXPECT_EQ(http.exchanges.size(), 1U);
    EXPECT_EQ(cam->reqReturnCode(), 5);
    EXPECT_TRUE(log.text().ends_with(": IPCam frameGrabberThread: failed to get data."));
}

TEST_F(IPCamTest, NoWebAddressIsAFailure) {
    cam->setUrlString("");
    cam->start();
    ASSERT_TRUE(untilEnded());

    EXPECT_EQ(cam->reqReturnCode(), 3);
}

TEST_F(IPCamTest, StartsAgainAfterAFailure) {
    cam->start();
    ASSERT_TRUE(untilRequest(0));
    http.fail(0, "away");
    ASSERT_TRUE(untilEnded());
    cam->start();
    ASSERT_TRUE(untilRequest(1));
    replyPicture(1, "x");

    EXPECT_TRUE(untilShown('x'));
}

TEST_F(IPCamTest, StopEndsAtOnceAndSaysNothing) {
    timing.wait = 10s;
    makeCamera();
    cam->start();
    ASSERT_TRUE(untilRequest(0));
    const auto begin = std::chrono::steady_clock::now();
    cam->stop();

    EXPECT_LT(std::chrono::steady_clock::now() - begin, 1s);
    EXPECT_FALSE(cam->started());
    EXPECT_TRUE(http.exchanges[0]->isCancelled);
    EXPECT_EQ(log.text(), "");
}

TEST_F(IPCamTest, StopsBeforeTheMainThreadHasStartedItsRequest) {
    for (int i = 0; i < 20; ++i) {
        cam->start();
        cam->stop();
    }
    until([] { return false; }, 5ms);

    EXPECT_EQ(http.exchanges.size(), 0U);
}

TEST_F(IPCamTest, WritesNothingAfterStop) {
    cam->start();
    ASSERT_TRUE(untilRequest(0));
    replyPicture(0, "x");
    cam->stop();
    const auto before = picturefile::stampOf(file);
    until([] { return false; }, 80ms);

    EXPECT_EQ(picturefile::stampOf(file), before);
}

TEST_F(IPCamTest, SecondStartIsHarmless) {
    cam->start();
    ASSERT_TRUE(untilRequest(0));
    cam->start();
    until([] { return false; }, 80ms);

    EXPECT_EQ(http.exchanges.size(), 1U);
}

TEST_F(IPCamTest, MayBeDestroyedWhileItRuns) {
    cam->start();
    ASSERT_TRUE(untilRequest(0));
    cam.reset();

    EXPECT_TRUE(http.exchanges[0]->isCancelled);
}

TEST_F(IPCamTest, HugePictureIsLeftOut) {
    timing.wait = 200ms; // ten of them, for all that is sent
    makeCamera();
    cam->start();
    ASSERT_TRUE(untilRequest(0));
    http.respond(0, head("image/jpeg"));
    const std::string megabyte(1'048'576, 'x');
    for (int i = 0; i < 17 && !http.exchanges[0]->isCancelled; ++i) {
        http.send(0, megabyte);
    }
    EXPECT_TRUE(http.exchanges[0]->isCancelled);
    ASSERT_TRUE(untilRequest(1));

    EXPECT_EQ(shown(), "");
    EXPECT_TRUE(log.contains("IPCam: a picture of more than 16 MiB is left out.\n"));
}

TEST_F(IPCamTest, FileThatCannotBeWrittenIsSaidOnce) {
    std::filesystem::create_directories(file / "full");
    cam->start();
    for (std::size_t round = 0; round < 3; ++round) {
        ASSERT_TRUE(untilRequest(round));
        replyPicture(round, "x");
    }
    ASSERT_TRUE(untilRequest(3));

    const std::string text = log.text();
    const auto first = text.find("ipcam.rgb cannot be written: Is a directory\n");
    ASSERT_NE(first, std::string::npos) << text;
    EXPECT_EQ(text.find("cannot be written", first + 20), std::string::npos);
}

} // namespace
} // namespace ovelo
