#pragma once

#include "platform/EDMailAgent.h"

#include <cstdint>
#include <string>

namespace ovelo {

/// When a connection to a mail server becomes secret.
enum class SmtpSecurity {
    None,
    StartTls, // after the greeting, on demand, before anything else is said
    Implicit, // from the first byte
};

/// The way to a mail server: everything about the connection, nothing about the mail.
struct SmtpRoute {
    std::string host; // checked: fit for a URL
    std::uint16_t port = 0;
    SmtpSecurity security = SmtpSecurity::None;
    std::string user{}; // empty: no login
    std::string password{};
    EDMailAgent::Options options{};
};

/// A host as it stands in a URL: an address of IPv6 in brackets.
///
/// errors  MailException when the text is neither a host name nor an address
[[nodiscard]] std::string urlHost(const std::string& name);

} // namespace ovelo
