#include "ipcam/IPCamFixture.h"

namespace ovelo {
namespace {

using namespace std::chrono_literals;

class IPCamStreamTest : public IPCamFixture {
protected:
    void SetUp() override {
        cam->start();
        ASSERT_TRUE(beginStream());
    }
    void send(const std::string& bytes) { http.send(1, bytes); }
    void pass(std::chrono::milliseconds time) {
        until([] { return false; }, time);
    }
};

TEST_F(IPCamStreamTest, StreamIsAskedForAnewAndTheProbeIsCancelled) {
    EXPECT_TRUE(http.exchanges[0]->isCancelled);
    EXPECT_EQ(http.exchanges[1]->request.url, "http://camera/");
    EXPECT_EQ(cam->reqReturnCode(), 2);
}

TEST_F(IPCamStreamTest, PictureIsShownWhenTheNextOneBegins) {
    send(part("one"));
    pass(20ms);
    EXPECT_EQ(shown(), "");

    send("--b\r\nContent-Type: image/jpeg\r\n");
    pass(20ms);
    EXPECT_EQ(shown(), "");

    send("\r\n");
    EXPECT_TRUE(untilShown('o'));
}

TEST_F(IPCamStreamTest, EveryPictureIsShownWhenThereIsTime) {
    for (const char letter : {'a', 'b', 'c'}) {
        send(part(std::string(1, letter)));
        send(part(""));
        ASSERT_TRUE(untilShown(letter)) << letter;
    }
    EXPECT_EQ(pictures.decoded(), (std::vector<std::string>{"a", "b", "c"}));
}

TEST_F(IPCamStreamTest, PartOfAnotherKindStandsInFrontOfTheNextPicture) {
    send(part("one") + part("text", "text/plain") + part("two") + part("three"));
    ASSERT_TRUE(untilShown('t'));

    EXPECT_EQ(pictures.decoded().back(), "two");
    EXPECT_FALSE(pictures.decoded().front() == "one");
}

TEST_F(IPCamStreamTest, TextPartAndPictureAreTakenTogether) {
    send(part("text", "text/plain") + part("one"));

    ASSERT_TRUE(untilShown('t'));
    EXPECT_EQ(pictures.decoded(), (std::vector<std::string>{"text"}));
}

TEST_F(IPCamStreamTest, DamagedPictureIsLeftOut) {
    send(part("one") + part("bad"));
    ASSERT_TRUE(untilShown('o'));
    send(part("two"));
    ASSERT_TRUE(until([&] { return pictures.decoded().size() == 2; }));
    send(part("three"));
    ASSERT_TRUE(untilShown('t'));

    EXPECT_TRUE(log.contains("IPCam: picture left out: damaged: bad\n"));
}

TEST_F(IPCamStreamTest, FailureIsSaidAndTheGrabberGoesOnWaiting) {
    http.fail(1, "gone");
    pass(50ms);

    EXPECT_TRUE(log.text().ends_with(": IPCam MJpeg connection failed: gone"));
    EXPECT_TRUE(cam->started());
    EXPECT_EQ(http.exchanges.size(), 2U);
    EXPECT_TRUE(http.exchanges[1]->isCancelled);
}

TEST_F(IPCamStreamTest, EndedStreamIsNotStartedAgain) {
    send(part("one") + part("two"));
    http.finish(1);
    ASSERT_TRUE(untilShown('o'));
    clock.advance(1h);
    pass(50ms);

    EXPECT_TRUE(cam->started());
    EXPECT_EQ(http.exchanges.size(), 2U);
    EXPECT_EQ(shown(), "o");
}

TEST_F(IPCamStreamTest, EndlessHeadersEndTheStream) {
    send("--b\r\n" + std::string(20'000, 'x'));

    EXPECT_TRUE(http.exchanges[1]->isCancelled);
    EXPECT_TRUE(
        log.text().ends_with(": IPCam MJpeg connection failed: the headers of a part do not end"));
}

TEST_F(IPCamStreamTest, HugePartIsLeftOutAndTheNextIsShown) {
    send("--b\r\nContent-Type: image/jpeg\r\n\r\n");
    const std::string megabyte(1'048'576, 'x');
    for (int i = 0; i < 40; ++i) {
        send(megabyte);
    }
    send("\r\n" + part("one") + part("two"));
    ASSERT_TRUE(untilShown('o'));

    EXPECT_EQ(pictures.decoded(), (std::vector<std::string>{"one"}));
    const std::string text = log.text();
    EXPECT_NE(text.find("more than 16 MiB"), std::string::npos);
    EXPECT_EQ(text.find("more than 16 MiB"), text.rfind("more than 16 MiB"));
}

TEST_F(IPCamStreamTest, RejectedPasswordIsSaid) {
    EXPECT_TRUE(http.challenge(1, 0));
    EXPECT_FALSE(http.challenge(1, 1));
    http.fail(1, "rejected");

    EXPECT_EQ(cam->reqReturnCode(), 1);
    EXPECT_TRUE(log.contains("IPCam: Authenticaion failed."));
    EXPECT_TRUE(cam->started());
}

TEST_F(IPCamStreamTest, StopCancelsTheStream) {
    cam->stop();

    EXPECT_TRUE(http.exchanges[1]->isCancelled);
    EXPECT_FALSE(cam->started());
}

TEST_F(IPCamStreamTest, ReplyWithoutPartsIsBounded) {
    cam->stop();
    cam->start();
    ASSERT_TRUE(untilRequest(2));
    http.respond(2, head(kStream));
    http.send(2, "x");
    ASSERT_TRUE(untilRequest(3));
    http.respond(3, head("text/html"));
    const std::string megabyte(1'048'576, 'x');
    for (int i = 0; i < 20; ++i) {
        http.send(3, megabyte);
    }

    EXPECT_TRUE(log.contains("more than 16 MiB"));
    EXPECT_TRUE(pictures.decoded().empty());
}

} // namespace
} // namespace ovelo
