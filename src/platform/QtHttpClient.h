#pragma once

#include "platform/HttpClient.h"

#include <filesystem>
#include <memory>
#include <vector>

class QNetworkAccessManager;
class QObject;

namespace ovelo {

class QtHttpExchange;

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
    QNetworkAccessManager& managerFor(bool isPrivate);
    [[nodiscard]] bool isTelling() const;

    const std::filesystem::path extraAuthorities_;
    std::unique_ptr<QObject> managers_; // each a child of this one; made for the first request
    QNetworkAccessManager* shared_ = nullptr; // one of them
    std::vector<std::weak_ptr<QtHttpExchange>>
        exchanges_; // those that are over are dropped in time
};

} // namespace ovelo
