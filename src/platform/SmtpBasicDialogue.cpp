#include "platform/SmtpBasicDialogue.h"

#include "platform/MailEncoding.h"
#include "platform/MailFailure.h"
#include "platform/MailMessage.h"

#include <poll.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <cerrno>
#include <optional>
#include <utility>

namespace ovelo {

namespace {

/// A line that begins with a dot gets another one, or a lone dot would end the mail.
std::string withDotsDoubled(const std::string& text) {
    constexpr std::string_view kDotAtStart = "\n.";
    std::string result = text;
    for (auto at = result.find(kDotAtStart); at != std::string::npos;
         at = result.find(kDotAtStart, at + kDotAtStart.size())) {
        result.insert(at + 1, 1, '.');
    }
    return result;
}

/// A server that has no login at all, unlike one that does not let this user in.
bool isUnknownCommand(const std::string& reply) {
    return reply.starts_with("500") || reply.starts_with("502") || reply.starts_with("503") ||
           reply.starts_with("504");
}

} // namespace

SmtpBasicDialogue::SmtpBasicDialogue(const SmtpRoute& route, std::stop_token stop)
    : connection_(route, route.security == SmtpSecurity::Implicit ? "https" : "http",
                  std::move(stop)) {
}

void SmtpBasicDialogue::send(const MailMessage& message) {
    deadline_ = std::chrono::steady_clock::now() + connection_.route().options.exchangeLimit;
    connection_.set(CURLOPT_CONNECT_ONLY, 1L); // so that the scheme tells only how to connect
    connection_.set(CURLOPT_SSL_ENABLE_ALPN, 0L);
    connection_.runWith([&] {
        connect();
        converse(message);
        quit();
    });
}

void SmtpBasicDialogue::connect() {
    connection_.require(curl_easy_getinfo(connection_.easy(), CURLINFO_ACTIVESOCKET, &socket_));
    expect('2', reply());
}

void SmtpBasicDialogue::converse(const MailMessage& message) {
    const std::string text = withDotsDoubled(message.text()); // which begins with a header field
    expect('2', ask("HELO [127.0.0.1]"));
    if (!connection_.route().user.empty()) {
        logIn();
    }
    expect('2', ask("MAIL FROM:<" + message.sender() + ">"));
    expect('2', ask("RCPT TO:<" + message.recipient() + ">"));
    expect('3', ask("DATA"));
    write(text);
    expect('2', ask("."));
}

void SmtpBasicDialogue::logIn() {
    using namespace std::string_literals;
    const SmtpRoute& route = connection_.route();
    const std::string answer =
        ask("AUTH PLAIN " + mailencoding::base64("\0"s + route.user + "\0"s + route.password));
    if (!answer.starts_with('2') && !isUnknownCommand(answer)) {
        throw MailException(mailfailure::loginRefusal(mailfailure::harmless(answer, route), route));
    }
}

/// The mail is the server's by now: nothing that happens here makes it unsent.
void SmtpBasicDialogue::quit() {
    deadline_ = std::chrono::steady_clock::now() + connection_.route().options.farewellLimit;
    try {
        ask("QUIT");
    } catch (const MailException&) {
        return;
    }
}

std::string SmtpBasicDialogue::ask(const std::string& command) {
    write(command + "\r\n");
    return reply();
}

/// return  the last line of an answer
std::string SmtpBasicDialogue::reply() {
    std::optional<std::string> result = replies_.next();
    for (; !result; result = replies_.next()) {
        receive();
    }
    return *std::move(result);
}

/// kind  the first digit of consent
void SmtpBasicDialogue::expect(char kind, const std::string& reply) const {
    const SmtpRoute& route = connection_.route();
    if (reply.empty() || std::isdigit(static_cast<unsigned char>(reply.front())) == 0) {
        throw connection_.failure(CURLE_WEIRD_SERVER_REPLY);
    }
    if (reply.front() != kind) {
        throw MailException(mailfailure::refusal(mailfailure::harmless(reply, route), route));
    }
}

void SmtpBasicDialogue::write(std::string_view bytes) {
    while (!bytes.empty()) {
        std::size_t sent = 0;
        const CURLcode code = curl_easy_send(connection_.easy(), bytes.data(), bytes.size(), &sent);
        if (code == CURLE_AGAIN) {
            waitFor(POLLOUT);
        } else {
            connection_.require(code);
        }
        bytes.remove_prefix(sent);
    }
}

void SmtpBasicDialogue::receive() {
    std::array<char, 4096> bytes{};
    std::size_t size = 0;
    const CURLcode code = curl_easy_recv(connection_.easy(), bytes.data(), bytes.size(), &size);
    if (code == CURLE_AGAIN) {
        waitFor(POLLIN);
        return;
    }
    connection_.require(code);
    if (size == 0) {
        throw connection_.failure(CURLE_GOT_NOTHING);
    }
    replies_.append({bytes.data(), size});
    if (replies_.isTooLong()) {
        throw connection_.failure(CURLE_WEIRD_SERVER_REPLY);
    }
}

/// A stop request breaks the socket off, which ends this wait, too.
void SmtpBasicDialogue::waitFor(short events) {
    const auto left =
        std::chrono::ceil<std::chrono::milliseconds>(deadline_ - std::chrono::steady_clock::now());
    if (left.count() <= 0) {
        throw connection_.failure(CURLE_OPERATION_TIMEDOUT);
    }
    pollfd ready{.fd = socket_, .events = events, .revents = 0};
    if (::poll(&ready, 1, static_cast<int>(left.count())) < 0 && errno != EINTR) {
        throw connection_.failure(CURLE_RECV_ERROR);
    }
}

} // namespace ovelo
