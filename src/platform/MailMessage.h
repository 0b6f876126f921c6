#pragma once

#include "platform/Data.h"
#include "platform/EDMailAgent.h"

#include <string>

namespace ovelo {

/// A mail as it travels (RFC 5322, MIME): lines of at most 78 characters, all of them ASCII but for
/// addresses that are not.
///
/// errors  MailException when an address is missing or none, or a header field has a control
///         character, with which it could bring in fields of its own
/// thread  any
class MailMessage final {
public:
    /// A text.
    MailMessage(const EDMailAgent::Headers& headers, const std::string& body);

    /// A text with a JPEG file.
    MailMessage(const EDMailAgent::Headers& headers, const std::string& body, const Data& jpeg,
                const std::string& fileName);

    /// The bare addresses, for the server.
    [[nodiscard]] const std::string& sender() const { return sender_; }
    [[nodiscard]] const std::string& recipient() const { return recipient_; }

    /// Header and body, each line with CR LF. Dots are not doubled.
    [[nodiscard]] const std::string& text() const { return text_; }

private:
    void addHead(const EDMailAgent::Headers& headers);

    std::string sender_;
    std::string recipient_;
    std::string text_;
};

} // namespace ovelo
