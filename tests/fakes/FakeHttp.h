#pragma once

#include "platform/HttpClient.h"

#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace ovelo {

/// A client that sends nothing; the test speaks for the servers.
class FakeHttp final : public HttpClient {
public:
    /// One request that was started.
    struct Exchange {
        HttpRequest request;
        HttpObserver observer;
        bool isCancelled = false; // or over and given up
    };

    [[nodiscard]] std::unique_ptr<HttpConnection> start(const HttpRequest& request,
                                                        HttpObserver observer) override {
        if (request.url.empty() || refuses) {
            return nullptr;
        }
        exchanges.push_back(
            std::make_shared<Exchange>(Exchange{request, std::move(observer), false}));
        return std::make_unique<Connection>(exchanges.back());
    }

    /// A whole reply to a request, counted from 0; nothing when it was cancelled.
    void reply(std::size_t number, int status, const std::string& body) const {
        respond(number, status);
        send(number, body);
        finish(number);
    }
    void respond(std::size_t number, int status) const {
        respond(number, HttpResponse{status, {}});
    }
    void respond(std::size_t number, const HttpResponse& head) const {
        tell(number, [&](const HttpObserver& to) { to.didReceiveResponse(head); });
    }
    /// return  what the client answers
    std::optional<HttpCredentials> challenge(std::size_t number, int failures) const {
        std::optional<HttpCredentials> answer;
        tell(number, [&](const HttpObserver& to) {
            answer = to.didReceiveAuthenticationChallenge(failures);
        });
        return answer;
    }
    void send(std::size_t number, const std::string& piece) const {
        tell(number, [&](const HttpObserver& to) { to.didReceiveData(piece); });
    }
    void finish(std::size_t number) const {
        tell(number, [&](const HttpObserver& to) { to.didFinishLoading(); });
    }
    void fail(std::size_t number, const std::string& description) const {
        tell(number, [&](const HttpObserver& to) { to.didFailWithError(description); });
    }

    std::vector<std::shared_ptr<Exchange>> exchanges; // in the order of their start
    bool refuses = false;

private:
    class Connection final : public HttpConnection {
    public:
        explicit Connection(std::shared_ptr<Exchange> exchange) : exchange_(std::move(exchange)) {}
        ~Connection() override { exchange_->isCancelled = true; }

    private:
        std::shared_ptr<Exchange> exchange_;
    };

    template <typename What>
    void tell(std::size_t number, const What& what) const {
        const auto exchange = exchanges.at(number); // lives on when the call ends it
        if (!exchange->isCancelled) {
            what(exchange->observer);
        }
    }
};

} // namespace ovelo
