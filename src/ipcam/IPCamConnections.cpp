// The probing request, and who answers challenges. All on the main thread.

#include "ipcam/IPCam.h"
#include "support/Logger.h"

#include <fmt/format.h>

#include <utility>

namespace ovelo {

void IPCam::startSyncConnection(const HttpRequest& request) {
    // The former request ends here, before what it brings could be taken for this one's.
    synchronisedUrlConnection_.reset();
    forgetReply();
    reqReturnCode_ = InProgress;
    HttpObserver observer;
    observer.didReceiveResponse = [this](const auto& response) { didReceiveResponse(response); };
    observer.didReceiveData = [this](std::string_view bytes) { didReceiveData(bytes); };
    observer.didFailWithError = [this](const auto& reason) { didFailWithError(reason); };
    observer.didFinishLoading = [this] { didEnd(); };
    observer.didReceiveAuthenticationChallenge = [this](int failures) {
        return didReceiveAuthenticationChallenge(failures, true);
    };
    synchronisedUrlConnection_ = environment_.http.start(request, std::move(observer));
    if (!synchronisedUrlConnection_) {
        didFailWithError("no web address");
    }
}

void IPCam::forgetReply() {
    const Lock lock(lock_);
    synchronisedUrlData_.clear();
    synchronisedUrlResponse_.reset();
    synchronisedUrlCompleted_ = false;
    isBodyOver_ = false;
    isBodyTooLarge_ = false;
}

void IPCam::dropConnections() {
    synchronisedUrlConnection_.reset();
    mjpegUrlConnection_.reset();
    mjpegData_ = {};
}

void IPCam::didReceiveResponse(const HttpResponse& response) {
    const Lock lock(lock_);
    if (!synchronisedUrlResponse_) {
        synchronisedUrlResponse_ = response;
        reqReturnCode_ = ResponseReceived;
        synchronisedUrlCompleted_ = true;
    }
}

void IPCam::didReceiveData(std::string_view bytes) {
    {
        const Lock lock(lock_);
        if (bytes.size() <= kMaxPicture - synchronisedUrlData_.size()) {
            synchronisedUrlData_ += bytes;
            news_.notify_all();
            return;
        }
        isBodyTooLarge_ = true;
    }
    environment_.log.write("IPCam: a picture of more than 16 MiB is left out.\n");
    synchronisedUrlConnection_.reset();
    didEnd();
}

void IPCam::didFailWithError(const std::string& localizedDescription) {
    if (reqReturnCode_ == InProgress) {
        reqReturnCode_ = RequestFailed;
        environment_.log.write(fmt::format("IPCam: request failed: {}\n", localizedDescription));
    }
    {
        const Lock lock(lock_);
        synchronisedUrlCompleted_ = true;
    }
    didEnd();
}

/// Nothing comes any more.
void IPCam::didEnd() {
    const Lock lock(lock_);
    isBodyOver_ = true;
    news_.notify_all();
}

std::optional<HttpCredentials> IPCam::didReceiveAuthenticationChallenge(int previousFailureCount,
                                                                        bool isProbing) {
    if (previousFailureCount > 0) {
        environment_.log.write("IPCam: Authenticaion failed."); // sic
        challengeRefused(AuthenticationFailed, isProbing);
        return std::nullopt;
    }
    if (!userId_ || !password_) {
        environment_.log.write(
            "IPCam: Authenticaion required by userid/password not supplied."); // sic
        challengeRefused(AuthenticationRequired, isProbing);
        return std::nullopt;
    }
    return HttpCredentials{*userId_, *password_};
}

void IPCam::challengeRefused(ReturnCode code, bool isProbing) {
    reqReturnCode_ = code;
    if (isProbing) {
        const Lock lock(lock_);
        synchronisedUrlCompleted_ = true;
    }
}

} // namespace ovelo
