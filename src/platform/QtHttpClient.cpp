#include "platform/QtHttpClient.h"

#include "platform/Assert.h"
#include "platform/QtHttpBody.h"
#include "platform/QtHttpExchange.h"
#include "platform/QtHttpMessages.h"
#include "platform/QtHttpTurns.h"

#include <QCoreApplication>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QNetworkRequest>
#include <QThread>

#include <algorithm>
#include <utility>

namespace ovelo {

namespace {

/// What the caller holds.
class Connection final : public HttpConnection {
public:
    explicit Connection(std::shared_ptr<QtHttpExchange> exchange)
        : exchange_(std::move(exchange)) {}
    ~Connection() override { exchange_->cancel(); }
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;

private:
    const std::shared_ptr<QtHttpExchange> exchange_;
};

/// A form that goes out at most once; a repeated one could notify a phone twice.
QNetworkReply* postOnce(QNetworkAccessManager& manager, QNetworkRequest message,
                        const QByteArray& bytes) {
    message.setHeader(QNetworkRequest::ContentLengthHeader, bytes.size());
    message.setAttribute(QNetworkRequest::DoNotBufferUploadDataAttribute, true);
    auto body = std::make_unique<QtHttpBody>(bytes);
    QNetworkReply* reply = manager.post(message, body.get());
    body.release()->setParent(reply);
    return reply;
}

QNetworkReply* send(QNetworkAccessManager& manager, const QNetworkRequest& message,
                    const HttpRequest& request, bool mayBeRepeated) {
    const auto body = QByteArray::fromStdString(request.body);
    if (request.method == "GET" && body.isEmpty()) {
        return manager.get(message);
    }
    if (request.method == "HEAD" && body.isEmpty()) {
        return manager.head(message);
    }
    if (request.method == "POST") {
        return mayBeRepeated || body.isEmpty() ? manager.post(message, body)
                                               : postOnce(manager, message, body);
    }
    return manager.sendCustomRequest(message, QByteArray::fromStdString(request.method), body);
}

} // namespace

QtHttpClient::QtHttpClient(std::filesystem::path extraAuthorities)
    : extraAuthorities_(std::move(extraAuthorities))
    , turns_(std::make_shared<QtHttpTurns>(
          [this](QtHttpExchange& exchange, const HttpRequest& request) {
              sendShared(exchange, request);
          })) {
}

QtHttpClient::~QtHttpClient() {
    const bool isNested = isTelling();
    turns_.reset(); // whoever ends now gives his place to nobody
    for (const auto& known : exchanges_) {
        if (const auto exchange = known.lock()) {
            exchange->cancel();
        }
    }
    if (managers_ && isNested) {
        managers_.release()->deleteLater(); // Qt goes on with one of them when its call returns
    }
}

std::unique_ptr<HttpConnection> QtHttpClient::start(const HttpRequest& request,
                                                    HttpObserver observer) {
    OVELO_ASSERT(QThread::currentThread() == QCoreApplication::instance()->thread(),
                 "web requests are started on the main thread");
    const auto message = qthttp::message(request, extraAuthorities_);
    if (!message) {
        return nullptr;
    }
    forgetEnded();
    auto exchange = std::make_shared<QtHttpExchange>(std::move(observer), request.followRedirects);
    exchanges_.push_back(exchange);
    // A manager remembers credentials: a request that may need some has one of its own, so that
    // changed ones count at once. A camera's stream is one of these; it would block a place in line.
    if (exchange->mayBeAsked() || !message->url().userInfo().isEmpty()) {
        QNetworkAccessManager& own = makeManager();
        exchange->begin(*send(own, *message, request, true), &own); // a login repeats the request
    } else if (!turns_->enter(message->url().authority().toStdString(), exchange, request)) {
        return nullptr;
    }
    return std::make_unique<Connection>(std::move(exchange));
}

QNetworkAccessManager& QtHttpClient::makeManager() {
    if (!managers_) {
        managers_ = std::make_unique<QObject>();
    }
    return *new QNetworkAccessManager(managers_.get());
}

void QtHttpClient::sendShared(QtHttpExchange& exchange, const HttpRequest& request) {
    if (shared_ == nullptr) {
        shared_ = &makeManager();
    }
    const auto message = qthttp::message(request, extraAuthorities_);
    exchange.begin(*send(*shared_, *message, request, false), nullptr);
}

void QtHttpClient::forgetEnded() {
    if (exchanges_.size() >= forgetAt_) {
        std::erase_if(exchanges_, [](const auto& known) { return known.expired(); });
        forgetAt_ = std::max<std::size_t>(2 * exchanges_.size(), 64);
    }
}

bool QtHttpClient::isTelling() const {
    return std::any_of(exchanges_.begin(), exchanges_.end(), [](const auto& known) {
        const auto exchange = known.lock();
        return exchange && exchange->isTelling();
    });
}

} // namespace ovelo
