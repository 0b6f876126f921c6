#pragma once

#include "platform/CurlConnection.h"

#include <cstddef>
#include <stop_token>
#include <string_view>

namespace ovelo {

class MailMessage;

/// Sends one mail with what the server offers (EHLO), or plainly if it knows no EHLO.
class SmtpTransfer final {
public:
    SmtpTransfer(const SmtpRoute& route, std::stop_token stop);

    /// errors  MailException
    void send(const MailMessage& message);

private:
    void setUpLogin();
    static std::size_t give(char* buffer, std::size_t size, std::size_t count, void* self);

    CurlConnection connection_;
    std::string_view left_; // of the message
};

} // namespace ovelo
