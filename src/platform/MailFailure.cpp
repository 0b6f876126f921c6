#include "platform/MailFailure.h"

#include "platform/MailEncoding.h"
#include "platform/Utf8.h"

#include <fmt/format.h>

#include <system_error>

namespace ovelo::mailfailure {

namespace {

constexpr std::size_t kLongestReply = 300; // a server may say more than an alert can show

void hide(std::string& text, const std::string& secret) {
    for (auto at = text.find(secret); at != std::string::npos; at = text.find(secret, at)) {
        text.replace(at, secret.size(), "...");
        at += 3;
    }
}

void hidePassword(std::string& text, const SmtpRoute& route) {
    if (route.password.empty()) {
        return;
    }
    using namespace std::string_literals;
    hide(text, mailencoding::base64("\0"s + route.user + "\0"s + route.password));
    hide(text, mailencoding::base64(route.password));
    hide(text, route.password);
}

/// As in "smtp.example.org, port 465".
std::string server(const SmtpRoute& route) {
    return fmt::format("{}, port {}", route.host, route.port);
}

std::string withReply(const std::string& sentence, const std::string& reply) {
    return reply.empty() ? sentence : fmt::format("{} The server says: {}", sentence, reply);
}

std::string unreachable(const Circumstances& what) {
    const std::string why =
        what.systemError != 0 ? std::generic_category().message(what.systemError) : what.detail;
    return fmt::format("There is no connection to {}: {}.", server(what.route), why);
}

std::string noSecurity(const Circumstances& what) {
    return fmt::format("{} does not offer a secure connection there (STARTTLS), so nothing was "
                       "sent.",
                       server(what.route));
}

std::string timeOut(const Circumstances& what) {
    return withReply(fmt::format("{} did not answer in time.", server(what.route)), what.reply);
}

std::string brokenOff(const Circumstances& what) {
    return withReply(fmt::format("{} ended the connection.", server(what.route)), what.reply);
}

/// libcurl says "send error" for a recipient or sender that was refused as well.
std::string sendError(const Circumstances& what) {
    const bool isRefused = what.reply.starts_with('4') || what.reply.starts_with('5');
    return isRefused ? refusal(what.reply, what.route) : brokenOff(what);
}

std::string describe(const Circumstances& what) {
    const std::string& host = what.route.host;
    switch (what.code) {
    case CURLE_COULDNT_RESOLVE_HOST:
        return fmt::format("The mail server {} was not found.", host);
    case CURLE_COULDNT_CONNECT:
        return unreachable(what);
    case CURLE_OPERATION_TIMEDOUT:
        return timeOut(what);
    case CURLE_PEER_FAILED_VERIFICATION:
        return fmt::format("The certificate of {} is not trusted: {}.", host, what.detail);
    case CURLE_SSL_CONNECT_ERROR:
        return fmt::format("No secure connection came about with {}: {}.", server(what.route),
                           what.detail);
    case CURLE_USE_SSL_FAILED:
        return noSecurity(what);
    case CURLE_LOGIN_DENIED:
        return loginRefusal(what.reply, what.route);
    case CURLE_REMOTE_ACCESS_DENIED:
        return refusal(what.reply, what.route);
    case CURLE_WEIRD_SERVER_REPLY:
        return withReply(fmt::format("{} does not answer as a mail server.", server(what.route)),
                         what.reply);
    case CURLE_SEND_ERROR:
        return sendError(what);
    case CURLE_RECV_ERROR:
    case CURLE_GOT_NOTHING:
        return brokenOff(what);
    case CURLE_ABORTED_BY_CALLBACK:
        return "Sending was cancelled.";
    default:
        return what.detail.empty() ? curl_easy_strerror(what.code) : what.detail;
    }
}

} // namespace

std::string harmless(const std::string& text, const SmtpRoute& route) {
    std::string result = text;
    hidePassword(result, route); // first, for it is found only as it was sent
    const bool isReadable = isUtf8(result);
    for (char& character : result) {
        const auto byte = static_cast<unsigned char>(character);
        if (byte < ' ' || byte == 0x7F) {
            character = ' ';
        } else if (byte >= 0x80 && !isReadable) {
            character = '?';
        }
    }
    result.resize(mailencoding::wholeCharacters(result, kLongestReply));
    result.erase(result.find_last_not_of(' ') + 1);
    return result;
}

std::string refusal(const std::string& reply, const SmtpRoute& route) {
    return withReply(fmt::format("{} refused the mail.", server(route)), reply);
}

std::string loginRefusal(const std::string& reply, const SmtpRoute& route) {
    return withReply(
        fmt::format("{} refused the login; check user name and password.", server(route)), reply);
}

std::string reason(const Circumstances& what) {
    return describe({.code = what.code,
                     .systemError = what.systemError,
                     .detail = harmless(what.detail, what.route),
                     .reply = harmless(what.reply, what.route),
                     .route = what.route});
}

} // namespace ovelo::mailfailure
