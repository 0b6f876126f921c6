#pragma once

#include "platform/Data.h"

#include <chrono>
#include <cstdint>
#include <map>
#include <memory>
#include <stdexcept>
#include <stop_token>
#include <string>
#include <string_view>

namespace ovelo {

/// Why a mail was not sent, in words for the user, who may read it in an alert. The password is not
/// in it, whatever the server answered.
class MailException : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// Sends mail through a relay host.
///
/// With secure connections on (they are off at first) nothing is ever sent in plain text: the
/// implicit port speaks TLS from the first byte, any other port begins in plain text and must offer
/// STARTTLS, or the mail fails before the login. The server's certificate must be trusted.
///
/// A login is offered when there is a user name. A server that announces none gets the mail without
/// one, and says itself whether it wants it so.
///
/// errors  every operation but the destructor may throw MailException
/// thread  one at a time; the stop token may be used by any
class EDMailAgent {
public:
    /// Header fields, by the keys below: UTF-8, without line ends.
    using Headers = std::map<std::string, std::string, std::less<>>;

    /// User name and, if it has one, password, by the keys below. Empty: no login.
    using AuthInfo = std::map<std::string, std::string, std::less<>>;

    /// What only tests want otherwise.
    struct Options {
        std::string trustedCertificates; // a PEM file in place of the system's; empty: the system's
        std::uint16_t implicitTlsPort = 465;              // RFC 8314, 7.3
        std::chrono::milliseconds connectLimit{30'000};   // looking the host up and reaching it
        std::chrono::milliseconds exchangeLimit{120'000}; // everything, from the host's name on
        std::chrono::milliseconds farewellLimit{2'000};   // the answer to QUIT, when all is said
    };

    /// An agent for a host: a name, or an address of either kind without brackets.
    static std::unique_ptr<EDMailAgent> mailAgentForRelayHostWithName(const std::string& name,
                                                                      Options options);
    static std::unique_ptr<EDMailAgent> mailAgentForRelayHostWithName(const std::string& name);

    EDMailAgent() = default;
    virtual ~EDMailAgent() = default;
    EDMailAgent(const EDMailAgent&) = delete;
    EDMailAgent& operator=(const EDMailAgent&) = delete;

    /// Without it: the implicit port (465) when connections are secure, which mail services offer
    /// to programs, else 25, for 465 speaks nothing but TLS.
    virtual void setPort(int port) = 0;

    virtual void setUsesSecureConnections(bool secure) = 0;

    /// True: greets with HELO, for servers that choke on EHLO, and tries the login though none is
    /// announced; a server that does not know the command gets the mail without. Where TLS begins
    /// with STARTTLS this changes nothing, for only the answer to EHLO tells that it is possible.
    virtual void setSkipsExtensionTest(bool skips) = 0;

    virtual void setAuthInfo(AuthInfo authInfo) = 0;

    /// Ends a mail that is being sent, within a tenth of a second, with an exception. Whether the
    /// server has taken the mail is open then.
    virtual void setStopToken(std::stop_token stop) = 0;

    /// Returns when the server has taken the mail. body: UTF-8 text.
    virtual void sendMailWithHeaders(const Headers& headers, const std::string& andBody) = 0;

    /// The same with a JPEG file.
    virtual void sendMailWithHeaders(const Headers& headers, const std::string& body,
                                     const Data& andAttachment, const std::string& withName) = 0;
};

inline constexpr std::string_view EDMailTo = "To";
inline constexpr std::string_view EDMailFrom = "From";
inline constexpr std::string_view EDMailSubject = "Subject";
inline constexpr std::string_view EDSMTPUserName = "UserName";
inline constexpr std::string_view EDSMTPPassword = "Password";

} // namespace ovelo
