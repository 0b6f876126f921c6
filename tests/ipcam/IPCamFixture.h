#pragma once

#include "fakes/FakeCameraPictures.h"
#include "fakes/FakeClock.h"
#include "fakes/FakeHttp.h"
#include "fakes/TemporaryFolder.h"
#include "fakes/TestLog.h"
#include "ipcam/IPCam.h"
#include "platform/MainThread.h"
#include "platform/MemorySettings.h"
#include "platform/PictureFile.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>

namespace ovelo {

/// A camera whose server is the test. Its grabber waits 30 ms instead of seconds.
class IPCamFixture : public ::testing::Test {
protected:
    IPCamFixture() {
        MainThread::begin();
        makeCamera();
    }
    ~IPCamFixture() override {
        cam.reset();
        MainThread::end();
    }

    /// For what happens after ten waits.
    void hurry() {
        timing.wait = std::chrono::milliseconds(5);
        makeCamera();
    }

    void makeCamera() {
        cam = std::make_unique<IPCam>(
            IPCamEnvironment{http, settings, log.log(), pictures, file, clock, timing});
        cam->setUrlString("http://camera/");
    }

    bool until(const std::function<bool()>& condition,
               std::chrono::milliseconds limit = std::chrono::seconds(5)) {
        return MainThread::serveUntil(condition, limit);
    }

    /// Waits for request number `number`, counted from 0.
    bool untilRequest(std::size_t number) {
        return until([&] { return http.exchanges.size() > number; });
    }
    bool untilEnded() {
        return until([&] { return !cam->started(); });
    }
    /// Waits until the file shows a picture; see FakeCameraPictures.
    bool untilShown(char picture) {
        return until([&] { return shown() == std::string(1, picture); });
    }

    /// The first pixel of the picture file, as a text; "" without a picture.
    [[nodiscard]] std::string shown() const {
        const std::string content = readFile(file);
        return content.size() == picturefile::kSize ? content.substr(1, 1) : "";
    }
    [[nodiscard]] bool showsALine() const {
        const std::string content = readFile(file);
        return content.size() == picturefile::kSize && content[5] == '!';
    }

    static HttpResponse head(const std::string& contentType) {
        return {200, {{"Content-Type", contentType}}};
    }
    void replyPicture(std::size_t number, const std::string& picture) {
        http.respond(number, head("image/jpeg"));
        http.send(number, picture);
        http.finish(number);
    }

    static constexpr const char* kStream = "multipart/x-mixed-replace; boundary=b";

    /// Lets the camera be one that streams. return: whether it asks for the stream
    bool beginStream(std::size_t probing = 0) {
        if (!untilRequest(probing)) {
            return false;
        }
        http.respond(probing, head(kStream));
        http.send(probing, "--b\r\n");
        if (!untilRequest(probing + 1)) {
            return false;
        }
        http.respond(probing + 1, head(kStream));
        return true;
    }
    static std::string part(const std::string& body, const std::string& type = "image/jpeg") {
        return "--b\r\nContent-Type: " + type + "\r\n\r\n" + body + "\r\n";
    }

    TemporaryFolder folder;
    const std::filesystem::path file = folder.path() / "ipcam.rgb";
    FakeHttp http;
    MemorySettings settings;
    TestLog log;
    FakeCameraPictures pictures;
    FakeClock clock;
    IPCamTiming timing{std::chrono::milliseconds(30), std::chrono::seconds(10),
                       std::chrono::seconds(60), std::chrono::milliseconds(30),
                       std::chrono::milliseconds(120)};
    std::unique_ptr<IPCam> cam;
};

} // namespace ovelo
