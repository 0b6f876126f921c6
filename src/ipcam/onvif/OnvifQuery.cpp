#include "ipcam/onvif/OnvifQuery.h"

#include <fmt/format.h>

#include <cstddef>
#include <utility>

namespace ovelo {

namespace {

constexpr std::size_t kMostBytes = 262'144; // of a reply
constexpr int kUnauthorized = 401;

} // namespace

OnvifQuery::OnvifQuery(Environment environment, std::string address,
                       std::function<void(const Outcome&)> done)
    : environment_(std::move(environment))
    , address_(std::move(address))
    , done_(std::move(done)) {
}

void OnvifQuery::start() {
    ask(address_, onvif::getCapabilities(), &OnvifQuery::haveCapabilities);
}

void OnvifQuery::ask(const std::string& address, const std::string& body, Next next) {
    reply_.clear();
    status_ = 0;
    next_ = next;
    const std::string header =
        onvif::securityHeader(environment_.credentials, environment_.stamp());
    connection_ = environment_.http.start(onvif::request(address, header, body), observer());
    if (!connection_) {
        replied(Failure{"no web address: " + address});
    }
}

HttpObserver OnvifQuery::observer() {
    HttpObserver observer;
    observer.didReceiveResponse = [this](const HttpResponse& response) {
        status_ = response.status;
    };
    observer.didReceiveData = [this](std::string_view bytes) { received(bytes); };
    observer.didFailWithError = [this](const std::string& description) {
        replied(Failure{description});
    };
    observer.didFinishLoading = [this] {
        if (status_ == kUnauthorized) {
            replied(Failure{"the camera wants a user name and a password"});
        } else if (reply_.empty()) {
            replied(Failure{fmt::format("the reply is empty, status {}", status_)});
        } else {
            replied(std::exchange(reply_, {}));
        }
    };
    if (environment_.credentials) {
        observer.didReceiveAuthenticationChallenge =
            [this](int previousFailureCount) -> std::optional<HttpCredentials> {
            if (previousFailureCount > 0) {
                return std::nullopt;
            }
            return HttpCredentials{environment_.credentials->user,
                                   environment_.credentials->password};
        };
    }
    return observer;
}

void OnvifQuery::received(std::string_view bytes) {
    if (reply_.size() + bytes.size() > kMostBytes) {
        replied(Failure{"the reply is too long"});
        return;
    }
    reply_ += bytes;
}

/// Ends the request, from within a call of its own, and goes on.
void OnvifQuery::replied(const Result<std::string>& reply) {
    connection_.reset();
    (this->*next_)(reply);
}

void OnvifQuery::haveCapabilities(const Result<std::string>& reply) {
    const auto media = reply ? onvif::mediaAddress(reply.value()) : reply;
    if (!media) {
        end(media.error());
        return;
    }
    media_ = media.value();
    ask(media_, onvif::getProfiles(), &OnvifQuery::haveProfiles);
}

void OnvifQuery::haveProfiles(const Result<std::string>& reply) {
    const auto profile = reply ? onvif::profileToken(reply.value()) : reply;
    if (!profile) {
        end(profile.error());
        return;
    }
    profile_ = profile.value();
    ask(media_, onvif::getSnapshotUri(profile_), &OnvifQuery::haveSnapshot);
}

void OnvifQuery::haveSnapshot(const Result<std::string>& reply) {
    const auto uri = reply ? onvif::uri(reply.value()) : reply;
    if (uri) {
        outcome_.snapshotUri = uri.value();
    } else {
        failure_ = uri.error(); // not every camera gives single pictures
    }
    ask(media_, onvif::getStreamUri(profile_), &OnvifQuery::haveStream);
}

void OnvifQuery::haveStream(const Result<std::string>& reply) {
    const auto uri = reply ? onvif::uri(reply.value()) : reply;
    if (uri) {
        outcome_.streamUri = uri.value();
    } else {
        failure_ = uri.error();
    }
    const bool hasNone = outcome_.snapshotUri.empty() && outcome_.streamUri.empty();
    end(hasNone ? failure_ : "");
}

void OnvifQuery::end(const std::string& failure) {
    outcome_.failure = failure;
    const auto done = std::exchange(done_, nullptr);
    const Outcome outcome = outcome_;
    done(outcome); // which may be our end
}

} // namespace ovelo
