#pragma once

#include "ipcam/onvif/OnvifMessage.h"
#include "platform/HttpClient.h"

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace ovelo {

/// Asks one camera for the addresses of its pictures.
///
/// thread    main
/// lifetime  its end cancels it; it may be destroyed from within `done`
class OnvifQuery final {
public:
    struct Outcome {
        std::string snapshotUri; // a JPEG picture; "" when the camera gives none
        std::string streamUri;   // rtsp; "" when the camera gives none
        std::string failure;     // why there is neither; "" when there is one
    };

    /// What it works with. `http` outlives it; `stamp` gives other fields for each message.
    struct Environment {
        HttpClient& http;
        std::function<onvif::Stamp()> stamp;
        std::optional<OnvifCredentials> credentials;
    };

    /// address  of the camera's device service
    /// done     called once, unless it is destroyed before
    OnvifQuery(Environment environment, std::string address,
               std::function<void(const Outcome&)> done);
    ~OnvifQuery() = default;
    OnvifQuery(const OnvifQuery&) = delete;
    OnvifQuery& operator=(const OnvifQuery&) = delete;

    /// Begins. Once.
    void start();

private:
    using Next = void (OnvifQuery::*)(const Result<std::string>& reply);

    void ask(const std::string& address, const std::string& body, Next next);
    HttpObserver observer();
    void received(std::string_view bytes);
    void replied(const Result<std::string>& reply);
    void haveCapabilities(const Result<std::string>& reply);
    void haveProfiles(const Result<std::string>& reply);
    void haveSnapshot(const Result<std::string>& reply);
    void haveStream(const Result<std::string>& reply);
    void end(const std::string& failure);

    const Environment environment_;
    const std::string address_;
    std::function<void(const Outcome&)> done_;
    std::string media_;
    std::string profile_;
    Outcome outcome_;
    std::string failure_; // of the latest address that could not be had
    std::string reply_;
    int status_ = 0;
    Next next_ = nullptr;
    std::unique_ptr<HttpConnection> connection_;
};

} // namespace ovelo
