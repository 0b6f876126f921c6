#pragma once

#include "platform/HttpClient.h"

#include <cstddef>
#include <filesystem>
#include <memory>
#include <vector>

class QNetworkAccessManager;
class QObject;

namespace ovelo {

class QtHttpExchange;
class QtHttpTurns;

/// Requests by Qt, on the loop of the QCoreApplication that must exist.
///
/// Nothing is loaded before the first request, for the sake of the program's start.
class QtHttpClient final : public HttpClient {
public:
    /// extraAuthorities  file of certificates (PEM) that are trusted beside the system's; empty in
    ///                   the program, for tests with servers of their own
    explicit QtHttpClient(std::filesystem::path extraAuthorities = {});
    ~QtHttpClient() override;

    [[nodiscard]] std::unique_ptr<HttpConnection> start(const HttpRequest& request,
                                                        HttpObserver observer) override;

private:
    QNetworkAccessManager& makeManager();
    void sendShared(QtHttpExchange& exchange, const HttpRequest& request);
    void forgetEnded();
    [[nodiscard]] bool isTelling() const;

    const std::filesystem::path extraAuthorities_;
    std::unique_ptr<QObject> managers_;       // each is a child of this one; null without requests
    QNetworkAccessManager* shared_ = nullptr; // one of them
    std::shared_ptr<QtHttpTurns> turns_;      // for the shared one
    std::vector<std::weak_ptr<QtHttpExchange>> exchanges_;
    std::size_t forgetAt_ = 64; // with so many of them, those that are gone are dropped
};

} // namespace ovelo
