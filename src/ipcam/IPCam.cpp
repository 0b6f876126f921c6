// The grabber.

#include "ipcam/IPCam.h"

#include "ipcam/CameraPictures.h"
#include "platform/MainThread.h"
#include "platform/Settings.h"
#include "platform/Threads.h"
#include "support/HttpUtil.h"
#include "support/Logger.h"

#include <fmt/format.h>

#include <algorithm>
#include <cctype>
#include <span>
#include <utility>

namespace ovelo {

namespace {

constexpr int kMaxWaits = 10;

std::span<const std::uint8_t> bytesOf(std::string_view text) {
    return {reinterpret_cast<const std::uint8_t*>(text.data()), text.size()};
}

/// What stands before the parameters, in small letters.
std::string mimeTypeOf(const HttpResponse& response) {
    std::string type = response.header("Content-Type");
    type.erase(std::min(type.find(';'), type.size()));
    std::transform(type.begin(), type.end(), type.begin(),
                   [](unsigned char letter) { return static_cast<char>(std::tolower(letter)); });
    return type;
}

} // namespace

IPCam::IPCam(IPCamEnvironment environment) : environment_(std::move(environment)) {
}

IPCam::~IPCam() {
    stop();
}

std::string IPCam::urlString() const {
    const Lock lock(lock_);
    return urlString_;
}

void IPCam::setUrlString(std::string urlString) {
    const Lock lock(lock_);
    urlString_ = std::move(urlString);
}

void IPCam::start() {
    if (started_) {
        return;
    }
    stop(); // one that has ended by itself is still to be joined
    started_ = true;
    outage_.emplace(environment_.timing, environment_.clock);
    thread_ = std::jthread([this](const std::stop_token& stop) { frameGrabberThread(stop); });
}

void IPCam::stop() {
    started_ = false;
    dropConnections();
    if (thread_.joinable()) {
        thread_.request_stop();
        thread_.join();
    }
}

std::int32_t IPCam::getCamType(const HttpResponse& response) {
    const std::string type = mimeTypeOf(response);
    if (type.find("image/jpeg") != std::string::npos) {
        return Jpeg;
    }
    return type.find("multipart/x-mixed-replace") != std::string::npos ? MJpeg : Unknown;
}

void IPCam::frameGrabberThread(const std::stop_token& stop) {
    settleThread("ipcam");
    while (grabRound(stop) || comeBack(stop)) {
    }
    performOnMainThread([this] { dropConnections(); }, stop);
    started_ = false;
}

/// return  false when the camera has failed or is not wanted any more
bool IPCam::grabRound(const std::stop_token& stop) {
    if (!isWanted(stop)) {
        return false;
    }
    HttpRequest request = HttpUtil::createGetUrlRequest(urlString());
    request.followRedirects = true;
    const std::int32_t outcome = sendSyncRequest(request, stop);
    const bool hasBody = outcome == ResponseReceived && awaitBegin(stop);
    if (!isWanted(stop)) {
        return false;
    }
    if (!hasBody) {
        environment_.log.write("IPCam frameGrabberThread: failed to get data.");
        return false;
    }
    const HttpResponse response = [this] {
        const Lock lock(lock_);
        return synchronisedUrlResponse_.value_or(HttpResponse());
    }();
    switch (getCamType(response)) {
    case Jpeg:
        if (const auto jpeg = awaitBody(stop)) {
            handleJpeg(*jpeg);
        }
        return true;
    case MJpeg:
        return handleMJpeg(response, request, stop);
    default:
        environment_.log.write("IPCam unknown URL response.");
        return false;
    }
}

std::int32_t IPCam::sendSyncRequest(const HttpRequest& request, const std::stop_token& stop) {
    performOnMainThread([this, request] { startSyncConnection(request); }, stop);
    const auto isCompleted = [this] {
        const Lock lock(lock_);
        return synchronisedUrlCompleted_;
    };
    // One wait at least, however soon the reply comes: it keeps a polled camera's pace.
    for (int waits = 0; waits < kMaxWaits && waitOnce(stop);) {
        ++waits;
        if (isCompleted()) {
            return reqReturnCode_;
        }
    }
    return TimedOut;
}

/// A stream may begin with silence: until the next picture, for instance.
///
/// return  whether a body has begun
bool IPCam::awaitBegin(const std::stop_token& stop) {
    Lock lock(lock_);
    news_.wait_for(lock, stop, environment_.timing.wait * (kMaxWaits - 1),
                   [this] { return isBodyOver_ || !synchronisedUrlData_.empty(); });
    return !synchronisedUrlData_.empty();
}

/// A picture of a slow camera may need longer than the first wait. What is there when the time is
/// over is taken for the picture.
///
/// return  nothing when it is too large
std::optional<std::string> IPCam::awaitBody(const std::stop_token& stop) {
    Lock lock(lock_);
    news_.wait_for(lock, stop, environment_.timing.wait * (kMaxWaits - 1),
                   [this] { return isBodyOver_; });
    if (isBodyTooLarge_) {
        return std::nullopt;
    }
    return std::exchange(synchronisedUrlData_, {});
}

void IPCam::handleJpeg(std::string_view jpeg) {
    const auto picture = environment_.pictures.decode(bytesOf(jpeg));
    if (!picture) {
        sayOnce(lastPictureFailure_, fmt::format("IPCam: picture left out: {}\n", picture.error()));
        return;
    }
    lastPictureFailure_.clear();
    saveToRgb(picture.value());
}

bool IPCam::handleMJpeg(const HttpResponse& response, const HttpRequest& request,
                        const std::stop_token& stop) {
    if (!MultipartStream::boundaryOf(response.header("Content-Type"))) {
        environment_.log.write("IPCam MJpeg boundary not found.");
        return false;
    }
    performOnMainThread([this, request] { startMJpegConnection(request); }, stop);
    return watchStream(stop);
}

/// return  false when the stream is lost, and is to be started again
bool IPCam::watchStream(const std::stop_token& stop) {
    while (isWanted(stop)) {
        if (const auto picture = nextPicture(stop)) {
            handleJpeg(*picture);
            continue;
        }
        const auto loss = whyStreamIsLost();
        if (loss && mayComeBack()) {
            environment_.log.write(fmt::format("IPCam: the stream is lost: {}\n", *loss));
            return false;
        }
    }
    return true;
}

std::optional<std::string> IPCam::whyStreamIsLost() {
    const Lock lock(lock_);
    const auto now = environment_.clock.steady();
    if (isStreamOver_) {
        return "it has ended";
    }
    if (now - lastByte_ >= environment_.timing.silence) {
        return "it is silent";
    }
    if (now - lastPart_ >= environment_.timing.noPicture) {
        return "it brings no whole picture";
    }
    return std::nullopt;
}

void IPCam::saveToRgb(const VideoFrame& picture) {
    Bytes rgba = environment_.pictures.fill(picture);
    write(rgba);
    outage_->end(std::move(rgba));
}

/// Waits for the next attempt after a failure.
///
/// return  false when there is none
bool IPCam::comeBack(const std::stop_token& stop) {
    if (!isWanted(stop) || !mayComeBack()) {
        return false;
    }
    performOnMainThread([this] { dropConnections(); }, stop);
    const auto pause = outage_->begin();
    showOutage();
    for (auto waited = environment_.timing.wait; waited <= pause;
         waited += environment_.timing.wait) {
        if (!waitOnce(stop)) {
            return false;
        }
    }
    return mayComeBack();
}

void IPCam::showOutage() {
    Bytes picture = outage_->lastPicture();
    environment_.pictures.drawLine(picture, outage_->text());
    write(picture);
}

void IPCam::write(const Bytes& rgba) {
    const auto failure = picturefile::write(environment_.pictureFile, rgba);
    if (failure) {
        sayOnce(lastWriteFailure_, fmt::format("IPCam: {}\n", failure->text));
    } else {
        lastWriteFailure_.clear();
    }
}

void IPCam::sayOnce(std::string& last, const std::string& text) {
    if (std::exchange(last, text) != text) {
        environment_.log.write(text);
    }
}

/// Lets one wait pass. Who begins to watch while the camera is away gets its last picture too.
///
/// return  false when the camera is not wanted any more
bool IPCam::waitOnce(const std::stop_token& stop) {
    {
        Lock lock(lock_);
        news_.wait_for(lock, stop, environment_.timing.wait, [] { return false; });
    }
    if (isWanted(stop) && outage_->isOn()) {
        showOutage();
    }
    return isWanted(stop);
}

/// The next whole picture of the stream, if one comes within one wait.
std::optional<std::string> IPCam::nextPicture(const std::stop_token& stop) {
    Lock lock(lock_);
    news_.wait_for(lock, stop, environment_.timing.wait, [this] { return picture_.has_value(); });
    return std::exchange(picture_, std::nullopt);
}

/// Waits until the main thread has done it, or stop() makes it superfluous: then it is not done, for
/// this object may be gone.
bool IPCam::performOnMainThread(std::function<void()> task, const std::stop_token& stop) {
    bool isDone = false;
    MainThread::perform([this, stop, &isDone, task = std::move(task)] {
        if (!stop.stop_requested()) {
            task();
            const Lock lock(lock_);
            isDone = true;
            news_.notify_all();
        }
    });
    Lock lock(lock_);
    return news_.wait(lock, stop, [&] { return isDone; });
}

bool IPCam::isWanted(const std::stop_token& stop) const {
    return started_ && !stop.stop_requested();
}

bool IPCam::mayComeBack() const {
    return reconnects_ && environment_.settings.boolean("ipcamReconnect");
}

} // namespace ovelo
