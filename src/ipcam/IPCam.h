#pragma once

#include "ipcam/IPCamEnvironment.h"
#include "ipcam/MultipartStream.h"
#include "ipcam/Outage.h"
#include "platform/HttpClient.h"
#include "platform/VideoFrame.h"

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <thread>

namespace ovelo {

/// One camera on the network: fetches its pictures over HTTP and writes each into the picture file,
/// from which the capture device "Kavrin IPCam" delivers it.
///
/// A camera that answers with one JPEG is asked again and again, about once a second. One that answers
/// with a stream of them is asked once more, and read until stop(): a picture is whole, and written,
/// when the next one begins.
///
/// A thread of its own, the grabber, waits, decodes and writes; requests are started on the main
/// thread, and tell there. The grabber never waits for the main thread longer than until stop().
///
/// errors    go to the event log; the camera then ends by itself and can be started again
/// thread    main
/// lifetime  its end stops it
class IPCam final {
public:
    /// Values of reqReturnCode().
    enum ReturnCode : std::int32_t {
        AuthenticationRequired = 0, // and none given
        AuthenticationFailed = 1,
        ResponseReceived = 2,
        RequestFailed = 3,
        TimedOut = 4, // returned by sendSyncRequest only, never stored
        InProgress = 5,
    };

    /// Values of getCamType().
    enum CamType : std::int32_t { Jpeg = 0, MJpeg = 1, Unknown = 2 };

    /// The most that is kept of one picture, in bytes; a larger one is left out.
    static constexpr std::size_t kMaxPicture = 16'777'216;

    explicit IPCam(IPCamEnvironment environment);
    ~IPCam();
    IPCam(const IPCam&) = delete;
    IPCam& operator=(const IPCam&) = delete;

    [[nodiscard]] const std::string& name() const { return name_; }
    [[nodiscard]] std::string urlString() const;
    /// Empty when there is none.
    [[nodiscard]] std::string userId() const { return userId_.value_or(""); }
    [[nodiscard]] std::string password() const { return password_.value_or(""); }
    [[nodiscard]] bool started() const { return started_; }
    /// The outcome of the latest probing request.
    [[nodiscard]] std::int32_t reqReturnCode() const { return reqReturnCode_; }

    void setName(std::string name) { name_ = std::move(name); }
    void setUrlString(std::string urlString);
    /// An empty text is a user name; nothing is none.
    void setUserId(std::optional<std::string> userId) { userId_ = std::move(userId); }
    void setPassword(std::optional<std::string> password) { password_ = std::move(password); }
    void setStarted(bool started) { started_ = started; }
    void setReqReturnCode(std::int32_t code) { reqReturnCode_ = code; }

    /// Whether the camera is one that viewers watch: with the setting "ipcamReconnect" it then comes
    /// back by itself after a failure, and meanwhile its last picture says so. At first it is not.
    void setReconnects(bool reconnects) { reconnects_ = reconnects; }

    /// Begins to fetch pictures; harmless when started.
    void start();

    /// Ends that. No picture is written any more when it returns.
    void stop();

    /// What a camera's reply is, by its MIME type.
    static std::int32_t getCamType(const HttpResponse& response);

private:
    using Lock = std::unique_lock<std::mutex>;

    // The grabber's thread.
    void frameGrabberThread(const std::stop_token& stop);
    bool grabRound(const std::stop_token& stop);
    std::int32_t sendSyncRequest(const HttpRequest& request, const std::stop_token& stop);
    bool awaitBegin(const std::stop_token& stop);
    std::optional<std::string> awaitBody(const std::stop_token& stop);
    void handleJpeg(std::string_view jpeg);
    bool handleMJpeg(const HttpResponse& response, const HttpRequest& request,
                     const std::stop_token& stop);
    bool watchStream(const std::stop_token& stop);
    void saveToRgb(const VideoFrame& picture);
    bool comeBack(const std::stop_token& stop);
    void showOutage();
    void write(const Bytes& rgba);
    void sayOnce(std::string& last, const std::string& text);
    bool waitOnce(const std::stop_token& stop);
    bool performOnMainThread(std::function<void()> task, const std::stop_token& stop);
    std::optional<std::string> nextPicture(const std::stop_token& stop);
    [[nodiscard]] bool isWanted(const std::stop_token& stop) const;
    [[nodiscard]] bool mayComeBack() const;
    [[nodiscard]] std::optional<std::string> whyStreamIsLost();

    // The requests, on the main thread.
    void startSyncConnection(const HttpRequest& request);
    void startMJpegConnection(const HttpRequest& request);
    void forgetReply();
    void dropConnections();
    void didReceiveResponse(const HttpResponse& response);
    void didReceiveData(std::string_view bytes);
    void didFailWithError(const std::string& localizedDescription);
    void didEnd();
    std::optional<HttpCredentials> didReceiveAuthenticationChallenge(int previousFailureCount,
                                                                     bool isProbing);
    void challengeRefused(ReturnCode code, bool isProbing);

    // The stream, on the main thread.
    void forgetStream();
    void streamDidReceiveResponse(const HttpResponse& response);
    void streamDidReceiveData(std::string_view bytes);
    void partDidReceiveResponse(const HttpResponse& response);
    void partDidReceiveData(std::string_view bytes);
    void streamDidFail(const std::string& localizedDescription);
    void streamDidEnd();

    const IPCamEnvironment environment_; // given

    std::atomic<bool> started_ = false;
    std::string name_;
    std::string urlString_; // guarded by lock_
    std::optional<std::string> userId_ = "";
    std::optional<std::string> password_ = "";
    std::unique_ptr<HttpConnection> synchronisedUrlConnection_;
    std::optional<HttpResponse> synchronisedUrlResponse_; // guarded by lock_, as are the next two
    std::string synchronisedUrlData_;
    bool synchronisedUrlCompleted_ = false;
    std::atomic<std::int32_t> reqReturnCode_ = 0;
    std::unique_ptr<HttpConnection> mjpegUrlConnection_;
    std::string mjpegData_;

    // Of the main thread.
    std::optional<MultipartStream> parts_; // nothing when the stream is no multipart reply
    bool isPartTooLarge_ = false;
    std::atomic<bool> reconnects_ = false;

    // Of the grabber's thread.
    std::optional<Outage> outage_;
    std::string lastPictureFailure_; // each is said once in a row
    std::string lastWriteFailure_;

    // Between the two. The lock is a leaf.
    mutable std::mutex lock_;
    std::condition_variable_any news_;
    bool isBodyOver_ = false; // guarded by lock_, as are those below
    bool isBodyTooLarge_ = false;
    std::optional<std::string> picture_; // whole, from the stream; the newest
    bool isStreamOver_ = false;
    Clock::Steady lastByte_;
    Clock::Steady lastPart_;
    std::jthread thread_; // last: joined first
};

} // namespace ovelo
