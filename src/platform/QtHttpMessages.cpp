#include "platform/QtHttpMessages.h"

#include "platform/Utf8.h"

#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QSslCertificate>
#include <QSslConfiguration>
#include <QUrl>

#include <algorithm>
#include <string_view>

namespace ovelo::qthttp {

namespace {

constexpr int kMaxRedirects = 10;

constexpr const char* kCutOff = "The connection was lost.";

/// A word of a head (RFC 9110, 5.6.2).
bool isToken(std::string_view text) {
    constexpr std::string_view kPlain = "!#$%&'*+-.^_`|~0123456789"
                                        "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ";
    return !text.empty() && text.find_first_not_of(kPlain) == std::string_view::npos;
}

/// Qt sends a header as it is given, so one with a line end would become two.
bool isSendable(const HttpHeader& header) {
    return isToken(header.name) &&
           header.value.find_first_of(std::string_view("\r\n\0", 3)) == std::string::npos;
}

QUrl webAddress(const std::string& text) {
    const QUrl url = isUtf8(text) ? QUrl(QString::fromStdString(text)) : QUrl();
    const bool isWeb =
        url.scheme() == QLatin1String("http") || url.scheme() == QLatin1String("https");
    return isWeb && url.isValid() && !url.host().isEmpty() ? url : QUrl();
}

void trustAlso(const std::filesystem::path& authorities, QNetworkRequest& message) {
    auto configuration = QSslConfiguration::defaultConfiguration();
    configuration.setCaCertificates(QSslConfiguration::systemCaCertificates());
    configuration.addCaCertificates(QString::fromStdString(authorities.string()));
    message.setSslConfiguration(configuration);
}

void setPolicies(const HttpRequest& request, QNetworkRequest& message) {
    message.setTransferTimeout(static_cast<int>(
        std::max<std::chrono::milliseconds::rep>(request.timeout.count(), 0))); // 0: none
    message.setAttribute(QNetworkRequest::CacheLoadControlAttribute,
                         request.reloadIgnoringCache ? QNetworkRequest::AlwaysNetwork
                                                     : QNetworkRequest::PreferNetwork);
    message.setAttribute(QNetworkRequest::CookieLoadControlAttribute, QNetworkRequest::Manual);
    message.setAttribute(QNetworkRequest::CookieSaveControlAttribute, QNetworkRequest::Manual);
    message.setAttribute(QNetworkRequest::Http2AllowedAttribute, false);
    message.setAttribute(QNetworkRequest::RedirectPolicyAttribute,
                         request.followRedirects ? QNetworkRequest::NoLessSafeRedirectPolicy
                                                 : QNetworkRequest::ManualRedirectPolicy);
    message.setMaximumRedirectsAllowed(kMaxRedirects);
}

/// Qt tells an error status as an error too, and so a refusal to log in.
bool isErrorOfStatus(QNetworkReply::NetworkError error, int status) {
    switch (error) {
    case QNetworkReply::ProtocolUnknownError:
    case QNetworkReply::ProtocolFailure:
    case QNetworkReply::ContentReSendError:
        return false;
    case QNetworkReply::ProxyAuthenticationRequiredError:
        return status == 407;
    default:
        return status >= 400 && error >= QNetworkReply::ContentAccessDenied;
    }
}

/// Qt does not always tell of a reply that was cut off, or tells the error of its status instead.
bool isCutOff(const QNetworkReply& reply, int status, qint64 received) {
    constexpr int kNotModified = 304; // tells the length of what it does not send
    const QVariant length = reply.header(QNetworkRequest::ContentLengthHeader);
    return length.isValid() && received < length.toLongLong() && status != kNotModified &&
           reply.operation() != QNetworkAccessManager::HeadOperation;
}

} // namespace

std::optional<QNetworkRequest> message(const HttpRequest& request,
                                       const std::filesystem::path& extraAuthorities) {
    const QUrl url = webAddress(request.url);
    if (url.isEmpty() || !isToken(request.method) ||
        !std::all_of(request.headers.begin(), request.headers.end(), isSendable)) {
        return std::nullopt;
    }
    QNetworkRequest message{url};
    message.setRawHeader("User-Agent", "Ovelo");
    // Compressed replies would be unpacked: a few bytes from outside could become any number here.
    message.setRawHeader("Accept-Encoding", "identity");
    for (const HttpHeader& header : request.headers) {
        message.setRawHeader(QByteArray::fromStdString(header.name),
                             QByteArray::fromStdString(header.value));
    }
    setPolicies(request, message);
    if (!extraAuthorities.empty()) {
        trustAlso(extraAuthorities, message);
    }
    return message;
}

HttpResponse response(const QNetworkReply& reply) {
    HttpResponse response;
    response.status = reply.attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt();
    for (const auto& [name, value] : reply.rawHeaderPairs()) {
        response.headers.push_back({name.toStdString(), value.toStdString()});
    }
    return response;
}

std::optional<std::string> failure(const QNetworkReply& reply, qint64 received) {
    const auto error = reply.error();
    const int status = reply.attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt();
    if (error == QNetworkReply::NoError || isErrorOfStatus(error, status)) {
        return isCutOff(reply, status, received) ? std::optional<std::string>(kCutOff)
                                                 : std::nullopt;
    }
    // Nobody hears of a request that we cancel, so it was its time-out.
    if (error == QNetworkReply::OperationCanceledError) {
        return kTimedOut;
    }
    if (error == QNetworkReply::ContentReSendError) { // see QtHttpBody
        return "The connection was closed without a reply.";
    }
    const std::string text = reply.errorString().simplified().toStdString();
    return text.empty() ? kCutOff : text;
}

} // namespace ovelo::qthttp
