#pragma once

#include "platform/CurlConnection.h"
#include "platform/SmtpReplies.h"

#include <chrono>
#include <stop_token>
#include <string>
#include <string_view>

namespace ovelo {

class MailMessage;

/// Sends one mail in the oldest form of the protocol, which begins with HELO. libcurl makes the
/// connection, secret from the first byte if it is to be.
class SmtpBasicDialogue final {
public:
    SmtpBasicDialogue(const SmtpRoute& route, std::stop_token stop);

    /// errors  MailException
    void send(const MailMessage& message);

private:
    using Steady = std::chrono::steady_clock::time_point;

    void connect();
    void converse(const MailMessage& message);
    void logIn();
    void quit();
    std::string ask(const std::string& command);
    std::string reply();
    void expect(char kind, const std::string& reply) const;
    void write(std::string_view bytes);
    void receive();
    void waitFor(short events);

    CurlConnection connection_;
    curl_socket_t socket_ = CURL_SOCKET_BAD;
    Steady deadline_;
    SmtpReplies replies_;
};

} // namespace ovelo
