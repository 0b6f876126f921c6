#include "platform/SmtpMailAgent.h"

#include "platform/MailMessage.h"
#include "platform/SmtpBasicDialogue.h"
#include "platform/SmtpTransfer.h"

#include <algorithm>
#include <limits>
#include <utility>

namespace ovelo {

namespace {

constexpr std::uint16_t kPlainPort = 25;

/// The user name or the password, empty when there is none. A NUL would end it, or begin another
/// one, on its way to the server.
std::string credential(const EDMailAgent::AuthInfo& authInfo, std::string_view key) {
    const auto found = authInfo.find(key);
    if (found == authInfo.end()) {
        return {};
    }
    const auto isControl = [](unsigned char character) { return character < ' '; };
    if (std::ranges::any_of(found->second, isControl)) {
        throw MailException("The user name or the password has a character that is not allowed.");
    }
    return found->second;
}

} // namespace

SmtpMailAgent::SmtpMailAgent(std::string host, Options options)
    : host_(std::move(host))
    , options_(std::move(options)) {
    static_cast<void>(urlHost(host_)); // throws for a name that is none
}

void SmtpMailAgent::setPort(int port) {
    if (port < 1 || port > std::numeric_limits<std::uint16_t>::max()) {
        throw MailException("The port of the mail server is not valid: it is a number from 1 to "
                            "65535, mostly 465 or 587.");
    }
    port_ = static_cast<std::uint16_t>(port);
}

void SmtpMailAgent::sendMailWithHeaders(const Headers& headers, const std::string& andBody) {
    send(MailMessage(headers, andBody));
}

void SmtpMailAgent::sendMailWithHeaders(const Headers& headers, const std::string& body,
                                        const Data& andAttachment, const std::string& withName) {
    send(MailMessage(headers, body, andAttachment, withName));
}

void SmtpMailAgent::send(const MailMessage& message) const {
    const SmtpRoute way = route();
    if (skipsExtensionTest_ && way.security != SmtpSecurity::StartTls) {
        SmtpBasicDialogue(way, stop_).send(message);
    } else {
        SmtpTransfer(way, stop_).send(message);
    }
}

SmtpRoute SmtpMailAgent::route() const {
    SmtpRoute result{.host = host_,
                     .user = credential(authInfo_, EDSMTPUserName),
                     .password = credential(authInfo_, EDSMTPPassword),
                     .options = options_};
    result.port = port_.value_or(isSecure_ ? options_.implicitTlsPort : kPlainPort);
    if (isSecure_) {
        result.security = result.port == options_.implicitTlsPort ? SmtpSecurity::Implicit
                                                                  : SmtpSecurity::StartTls;
    }
    return result;
}

} // namespace ovelo
