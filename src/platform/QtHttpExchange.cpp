#include "platform/QtHttpExchange.h"

#include "platform/QtHttpMessages.h"

#include <QAuthenticator>
#include <QByteArray>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QNetworkRequest>
#include <QString>
#include <QUrl>

#include <utility>

namespace ovelo {

namespace {

/// What may wait here while the main thread is busy; more stays with the server.
constexpr qint64 kReadBuffer = 262'144;

constexpr qint64 kPiece = 65'536;

/// An observer that answers for ever what the server rejects for ever is not asked again.
constexpr int kMaxChallenges = 4;

constexpr int kUnauthorized = 401;

bool isRedirect(int status) {
    return status == 301 || status == 302 || status == 303 || status == 307 || status == 308;
}

/// Whether a login for one address may be told at another: at the same server's, or when that wants to
/// go on encrypted.
bool isTrustedWith(const QUrl& asked, const QUrl& other) {
    const bool isSecure = other.scheme() == QStringLiteral("https");
    const auto portOf = [](const QUrl& url) {
        return url.port(url.scheme() == QStringLiteral("https") ? 443 : 80);
    };
    return asked.host() == other.host() &&
           (isSecure || (asked.scheme() == other.scheme() && portOf(asked) == portOf(other)));
}

/// Qt sends each letter of a login as one byte and loses those that are not Latin.
QString asSent(const std::string& utf8) {
    return QString::fromLatin1(utf8.data(), static_cast<qsizetype>(utf8.size()));
}

} // namespace

QtHttpExchange::QtHttpExchange(HttpObserver observer, bool followsRedirects)
    : observer_(std::move(observer))
    , followsRedirects_(followsRedirects) {
}

void QtHttpExchange::begin(QNetworkReply& reply, QNetworkAccessManager* manager) {
    reply_ = &reply;
    manager_ = manager;
    reply.setReadBufferSize(kReadBuffer);
    QObject::connect(&reply, &QNetworkReply::metaDataChanged, &context_, [this] { headArrived(); });
    QObject::connect(&reply, &QNetworkReply::readyRead, &context_, [this] { bytesArrived(); });
    QObject::connect(&reply, &QNetworkReply::finished, &context_, [this] { finished(); });
    if (manager != nullptr && observer_.didReceiveAuthenticationChallenge) {
        QObject::connect(
            manager, &QNetworkAccessManager::authenticationRequired, &context_,
            [this](QNetworkReply*, QAuthenticator* authenticator) { challenged(*authenticator); });
    }
}

void QtHttpExchange::onRelease(std::function<void(bool wasAnswered)> released) {
    released_ = std::move(released);
}

void QtHttpExchange::timeOut() {
    const auto self = shared_from_this();
    if (!isOver_) {
        isOver_ = true;
        tell(observer_.didFailWithError, std::string(qthttp::kTimedOut));
    }
}

void QtHttpExchange::cancel() {
    if (!isOver_) {
        isOver_ = true;
        release();
    }
}

void QtHttpExchange::headArrived() {
    const auto self = shared_from_this();
    tellResponse();
}

void QtHttpExchange::bytesArrived() {
    const auto self = shared_from_this();
    tellResponse();
    passOnBytes();
}

void QtHttpExchange::finished() {
    const auto self = shared_from_this();
    tellResponse();
    passOnBytes();
    std::optional<std::string> failure;
    if (!isOver_) {
        failure = isRejected() ? rejection() : qthttp::failure(*reply_, received_);
    }
    if (isOver_) {
        return;
    }
    isOver_ = true;
    release();
    if (failure) {
        tell(observer_.didFailWithError, *failure);
    } else {
        tell(observer_.didFinishLoading);
    }
}

bool QtHttpExchange::isRejected() const {
    return challenges_ > 0 && reply_->error() == QNetworkReply::AuthenticationRequiredError;
}

/// Qt does not send an empty user with an empty password: that rejection is still to be told.
std::string QtHttpExchange::rejection() {
    auto text = reply_->errorString().simplified().toStdString();
    if (hasAnswered_) {
        askForCredentials();
    }
    return text;
}

void QtHttpExchange::challenged(QAuthenticator& authenticator) {
    const auto self = shared_from_this();
    if (isOver_ || !isTrustedWith(reply_->request().url(), reply_->url())) {
        return;
    }
    const auto credentials = askForCredentials();
    if (credentials && !isOver_) {
        authenticator.setUser(asSent(credentials->user));
        authenticator.setPassword(asSent(credentials->password));
    }
}

std::optional<HttpCredentials> QtHttpExchange::askForCredentials() {
    hasAnswered_ = false;
    if (isOver_ || challenges_ == kMaxChallenges) {
        return std::nullopt;
    }
    ++calls_;
    auto credentials = observer_.didReceiveAuthenticationChallenge(challenges_);
    --calls_;
    ++challenges_;
    hasAnswered_ = credentials.has_value();
    return credentials;
}

void QtHttpExchange::tellResponse() {
    if (isOver_ || hasToldResponse_) {
        return;
    }
    const auto response = qthttp::response(*reply_);
    if (response.status != 0 && !isUntold()) {
        hasToldResponse_ = true;
        tell(observer_.didReceiveResponse, response);
    }
}

void QtHttpExchange::passOnBytes() {
    while (!isOver_ && reply_->bytesAvailable() > 0) {
        const QByteArray piece = reply_->read(kPiece);
        if (piece.isEmpty()) {
            return;
        }
        received_ += piece.size();
        if (hasToldResponse_) {
            tell(observer_.didReceiveData,
                 std::string_view(piece.constData(), static_cast<std::size_t>(piece.size())));
        }
    }
}

/// A refusal that was answered or cancelled, and a redirection that is being followed, are not told.
bool QtHttpExchange::isUntold() const {
    const int status = reply_->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt();
    return (challenges_ > 0 && status == kUnauthorized) ||
           (followsRedirects_ && isRedirect(status) && reply_->hasRawHeader("Location"));
}

/// Ends what is still under way. Qt may be in the middle of a signal of both objects.
void QtHttpExchange::release() {
    if (reply_) {
        reply_->disconnect(&context_);
        reply_->abort();
        reply_->deleteLater();
    }
    if (manager_) {
        manager_->disconnect(&context_);
        manager_->deleteLater();
    }
    reply_.clear();
    manager_.clear();
    if (const auto released = std::exchange(released_, nullptr)) {
        released(hasToldResponse_);
    }
}

template <typename Function, typename... Arguments>
void QtHttpExchange::tell(const Function& function, const Arguments&... arguments) {
    if (function) {
        ++calls_;
        function(arguments...);
        --calls_;
    }
}

} // namespace ovelo
