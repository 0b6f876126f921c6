#pragma once

#include "platform/HttpClient.h"

#include <QObject>
#include <QPointer>

#include <functional>
#include <memory>

class QAuthenticator;
class QNetworkAccessManager;
class QNetworkReply;

namespace ovelo {

/// One request and its reply, as told to its observer.
///
/// thread    main
/// lifetime  shared, so that it outlives a call of the observer that ends it
class QtHttpExchange final : public std::enable_shared_from_this<QtHttpExchange> {
public:
    QtHttpExchange(HttpObserver observer, bool followsRedirects);

    /// manager  the reply's, when it is this exchange's own, which disposes of it; else null
    void begin(QNetworkReply& reply, QNetworkAccessManager* manager);

    /// Calls `released` when what begin() was given is given up; before the observer is told.
    void onRelease(std::function<void(bool wasAnswered)> released);

    /// Nothing is told from now on.
    void cancel();

    /// Fails before its beginning, because that has not come in time.
    void timeOut();

    [[nodiscard]] bool isOver() const { return isOver_; }

    /// True when the observer answers challenges.
    [[nodiscard]] bool mayBeAsked() const {
        return observer_.didReceiveAuthenticationChallenge != nullptr;
    }

    /// True while the observer is being called.
    [[nodiscard]] bool isTelling() const { return calls_ > 0; }

private:
    void headArrived();
    void bytesArrived();
    void finished();
    void challenged(QAuthenticator& authenticator);
    void tellResponse();
    void passOnBytes();
    std::optional<HttpCredentials> askForCredentials();
    [[nodiscard]] bool isRejected() const;
    std::string rejection();
    [[nodiscard]] bool isUntold() const;
    void release();
    template <typename Function, typename... Arguments>
    void tell(const Function& function, const Arguments&... arguments);

    const HttpObserver observer_;
    const bool followsRedirects_;
    QObject context_;                         // ends what Qt calls with this object
    QPointer<QNetworkReply> reply_;           // these two belong to Qt's tree of objects
    QPointer<QNetworkAccessManager> manager_; //
    std::function<void(bool wasAnswered)> released_;
    qint64 received_ = 0; // bytes of the body
    int calls_ = 0;
    int challenges_ = 0;
    bool hasAnswered_ = false; // the latest challenge
    bool hasToldResponse_ = false;
    bool isOver_ = false;
};

} // namespace ovelo
