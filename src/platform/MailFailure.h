#pragma once

#include "platform/SmtpRoute.h"

#include <curl/curl.h>

#include <string>

/// What the user is told when a mail could not be sent. Any thread.
namespace ovelo::mailfailure {

/// All that is known about a failure.
struct Circumstances {
    CURLcode code;
    int systemError; // errno of the connection, or 0
    std::string detail;
    std::string reply; // the server's last line, or empty
    const SmtpRoute& route;
};

/// One sentence or two: what went wrong, and what the server said. Without the password, which a
/// server may have repeated.
std::string reason(const Circumstances& what);

/// The text in one line of bounded length, without the password in any form that it is sent in.
std::string harmless(const std::string& text, const SmtpRoute& route);

/// The reason for a reply that is no consent, such as to MAIL or RCPT.
std::string refusal(const std::string& reply, const SmtpRoute& route);

/// The reason for a login that was refused.
std::string loginRefusal(const std::string& reply, const SmtpRoute& route);

} // namespace ovelo::mailfailure
