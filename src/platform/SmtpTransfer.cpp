#include "platform/SmtpTransfer.h"

#include "platform/MailMessage.h"

#include <algorithm>
#include <utility>

namespace ovelo {

namespace {

/// Those that need a user name and a password and nothing else: for a user name like an address
/// libcurl would begin with Kerberos or NTLM where a server has them, and end with them, too.
constexpr const char* kLogins = "AUTH=PLAIN;AUTH=LOGIN;AUTH=CRAM-MD5";

using Addresses = CHandle<curl_slist, &curl_slist_free_all>;

} // namespace

SmtpTransfer::SmtpTransfer(const SmtpRoute& route, std::stop_token stop)
    : connection_(route, route.security == SmtpSecurity::Implicit ? "smtps" : "smtp",
                  std::move(stop)) {
}

void SmtpTransfer::send(const MailMessage& message) {
    const std::string sender = "<" + message.sender() + ">";
    const Addresses recipients(
        curl_slist_append(nullptr, ("<" + message.recipient() + ">").c_str()));
    left_ = message.text();
    connection_.set(CURLOPT_MAIL_FROM, sender.c_str());
    connection_.set(CURLOPT_MAIL_RCPT, recipients.get());
    connection_.set(CURLOPT_UPLOAD, 1L);
    connection_.set(CURLOPT_FORBID_REUSE, 1L); // so that QUIT is said within the limits, too
    connection_.set(CURLOPT_INFILESIZE_LARGE, static_cast<curl_off_t>(left_.size()));
    connection_.set(CURLOPT_READFUNCTION, &SmtpTransfer::give);
    connection_.set(CURLOPT_READDATA, this);
    setUpLogin();
    connection_.run();
}

void SmtpTransfer::setUpLogin() {
    const SmtpRoute& route = connection_.route();
    if (!route.user.empty()) {
        connection_.set(CURLOPT_LOGIN_OPTIONS, kLogins);
        connection_.set(CURLOPT_USERNAME, route.user.c_str());
        connection_.set(CURLOPT_PASSWORD, route.password.c_str());
    }
}

std::size_t SmtpTransfer::give(char* buffer, std::size_t size, std::size_t count, void* self) {
    std::string_view& left = static_cast<SmtpTransfer*>(self)->left_;
    const std::size_t length = left.copy(buffer, size * count);
    left.remove_prefix(length);
    return length;
}

} // namespace ovelo
