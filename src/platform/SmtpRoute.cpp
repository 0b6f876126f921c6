#include "platform/SmtpRoute.h"

#include "platform/Utf8.h"

#include <arpa/inet.h>

#include <algorithm>

namespace ovelo {

namespace {

constexpr std::size_t kLongestName = 253; // RFC 1035, 2.3.4, without the root's dot

/// Letters beyond ASCII are those of names that the resolver translates (IDNA).
bool standsInName(char character) {
    const auto byte = static_cast<unsigned char>(character);
    return (byte >= '0' && byte <= '9') || (byte >= 'a' && byte <= 'z') ||
           (byte >= 'A' && byte <= 'Z') || byte == '-' || byte == '.' || byte == '_' ||
           byte >= 0x80;
}

bool isName(const std::string& text) {
    return text.size() <= kLongestName && std::ranges::all_of(text, standsInName) &&
           text.front() != '-' && text.front() != '.' && isUtf8(text);
}

} // namespace

std::string urlHost(const std::string& name) {
    if (name.empty()) {
        throw MailException("The name of the mail server is empty.");
    }
    in6_addr address{};
    if (::inet_pton(AF_INET6, name.c_str(), &address) == 1 && name.size() <= INET6_ADDRSTRLEN) {
        return "[" + name + "]";
    }
    if (!isName(name)) {
        throw MailException("The name of the mail server is not valid: it is a host name such as "
                            "smtp.example.org, without blanks, slashes, user name or port.");
    }
    return name;
}

} // namespace ovelo
