// The streaming request. All on the main thread.

#include "ipcam/IPCam.h"
#include "support/Logger.h"

#include <fmt/format.h>

#include <utility>

namespace ovelo {

void IPCam::startMJpegConnection(const HttpRequest& request) {
    dropConnections();
    parts_.reset();
    isPartTooLarge_ = false;
    forgetStream();
    HttpObserver observer;
    observer.didReceiveResponse = [this](const auto& response) {
        streamDidReceiveResponse(response);
    };
    observer.didReceiveData = [this](std::string_view bytes) { streamDidReceiveData(bytes); };
    observer.didFailWithError = [this](const auto& reason) { streamDidFail(reason); };
    observer.didFinishLoading = [this] { streamDidEnd(); };
    observer.didReceiveAuthenticationChallenge = [this](int failures) {
        return didReceiveAuthenticationChallenge(failures, false);
    };
    mjpegUrlConnection_ = environment_.http.start(request, std::move(observer));
    if (!mjpegUrlConnection_) {
        streamDidFail("no web address");
    }
}

void IPCam::forgetStream() {
    const Lock lock(lock_);
    picture_.reset();
    isStreamOver_ = false;
    lastByte_ = lastPart_ = environment_.clock.steady();
}

/// A reply of one part is taken for that part.
void IPCam::streamDidReceiveResponse(const HttpResponse& response) {
    auto boundary = getCamType(response) == MJpeg
                        ? MultipartStream::boundaryOf(response.header("Content-Type"))
                        : std::nullopt;
    if (!boundary) {
        partDidReceiveResponse(response);
        return;
    }
    parts_.emplace(*std::move(boundary),
                   MultipartStream::Receiver{
                       [this](const HttpResponse& part) { partDidReceiveResponse(part); },
                       [this](std::string_view bytes) { partDidReceiveData(bytes); }});
}

void IPCam::streamDidReceiveData(std::string_view bytes) {
    {
        const Lock lock(lock_);
        lastByte_ = environment_.clock.steady();
    }
    if (!parts_) {
        partDidReceiveData(bytes);
    } else if (const auto failure = parts_->feed(bytes)) {
        streamDidFail(failure->text);
    }
}

/// The headers of a picture: the one before is whole now.
///
/// Kept: a part of another kind neither shows what came before nor drops it; its bytes stand before
/// those of the next picture, which cannot be read then.
void IPCam::partDidReceiveResponse(const HttpResponse& response) {
    if (getCamType(response) != Jpeg) {
        return;
    }
    std::string whole = std::exchange(mjpegData_, {});
    const bool isUsable = !std::exchange(isPartTooLarge_, false) && !whole.empty();
    mjpegData_.reserve(whole.size());
    const Lock lock(lock_);
    lastPart_ = environment_.clock.steady();
    if (isUsable) {
        picture_ = std::move(whole); // one that the grabber has not taken is out of date
        news_.notify_all();
    }
}

void IPCam::partDidReceiveData(std::string_view bytes) {
    if (isPartTooLarge_) {
        return;
    }
    if (bytes.size() <= kMaxPicture - mjpegData_.size()) {
        mjpegData_ += bytes;
        return;
    }
    environment_.log.write("IPCam: a picture of more than 16 MiB is left out.\n");
    isPartTooLarge_ = true;
    mjpegData_ = {};
}

void IPCam::streamDidFail(const std::string& localizedDescription) {
    environment_.log.write(fmt::format("IPCam MJpeg connection failed: {}", localizedDescription));
    streamDidEnd();
}

void IPCam::streamDidEnd() {
    mjpegUrlConnection_.reset();
    if (reqReturnCode_ == InProgress) {
        reqReturnCode_ = RequestFailed;
    }
    const Lock lock(lock_);
    isStreamOver_ = true;
}

} // namespace ovelo
