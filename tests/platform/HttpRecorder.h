#pragma once

#include "fakes/QtWait.h"
#include "platform/HttpClient.h"

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace ovelo {

/// Starts one request and remembers what it tells.
class HttpRecorder {
public:
    using Answer = std::function<std::optional<HttpCredentials>(int previousFailureCount)>;

    /// answer  to challenges; empty for a request that cannot be asked
    HttpObserver observer(Answer answer = {}) {
        HttpObserver observer;
        observer.didReceiveResponse = [this](const HttpResponse& head) {
            ++responses;
            response = head;
            calls += "R";
        };
        observer.didReceiveData = [this](std::string_view bytes) {
            body += bytes;
            calls += calls.ends_with("D") ? "" : "D";
        };
        observer.didFailWithError = [this](const std::string& description) {
            error = description;
            calls += "E";
        };
        observer.didFinishLoading = [this] { calls += "F"; };
        if (answer) {
            observer.didReceiveAuthenticationChallenge = [this, answer](int failures) {
                challenges.push_back(failures);
                calls += "C";
                return answer(failures);
            };
        }
        return observer;
    }

    bool start(HttpClient& client, const HttpRequest& request, Answer answer = {}) {
        connection = client.start(request, observer(std::move(answer)));
        return connection != nullptr;
    }

    /// Until the request has ended.
    [[nodiscard]] bool run(HttpClient& client, const HttpRequest& request, Answer answer = {}) {
        return start(client, request, std::move(answer)) &&
               runLoopUntil([this] { return ended(); });
    }

    [[nodiscard]] bool ended() const { return calls.ends_with("E") || calls.ends_with("F"); }

    std::unique_ptr<HttpConnection> connection;
    HttpResponse response;
    int responses = 0;
    std::string body;
    std::string error;
    std::vector<int> challenges; // their failure counts
    std::string calls;           // a letter for each: R, D (for a run of them), C, and E or F
};

inline HttpRequest requestFor(const std::string& url,
                              std::chrono::milliseconds timeout = std::chrono::seconds(5)) {
    HttpRequest request;
    request.url = url;
    request.timeout = timeout;
    return request;
}

} // namespace ovelo
