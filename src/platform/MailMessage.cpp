#include "platform/MailMessage.h"

#include "platform/MailEncoding.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <ctime>
#include <random>
#include <string_view>

namespace ovelo {

namespace {

constexpr std::string_view kTextFields = "Content-Type: text/plain; charset=utf-8\r\n"
                                         "Content-Transfer-Encoding: quoted-printable\r\n";

/// A person's or program's address, as in "Yard <yard@example.org>".
struct Mailbox {
    std::string name; // may be empty
    std::string address;
};

bool isControl(char character) {
    return static_cast<unsigned char>(character) < ' ' || character == '\x7F';
}

std::string field(const EDMailAgent::Headers& headers, std::string_view key) {
    const auto found = headers.find(key);
    std::string value = found == headers.end() ? std::string() : found->second;
    if (std::ranges::any_of(value, isControl)) {
        throw MailException(
            fmt::format("The mail's \"{}\" has a character that is not allowed.", key));
    }
    return value;
}

std::string_view trimmed(std::string_view text) {
    const auto begin = text.find_first_not_of(" \"");
    const auto end = text.find_last_not_of(" \"");
    return begin == std::string_view::npos ? std::string_view()
                                           : text.substr(begin, end - begin + 1);
}

/// The server judges an address; here it only must not become something else.
Mailbox mailboxOf(const std::string& text) {
    Mailbox result{.name = {}, .address = text};
    const auto bracket = text.rfind('<');
    if (bracket != std::string::npos && text.ends_with('>')) {
        result.name = trimmed(std::string_view(text).substr(0, bracket));
        result.address = text.substr(bracket + 1, text.size() - bracket - 2);
    }
    if (result.address.empty() || result.address.find_first_of(" <>,;\"") != std::string::npos) {
        throw MailException("The e-mail address is not valid: it looks like me@example.org.");
    }
    return result;
}

std::string headerOf(const Mailbox& mailbox) {
    if (mailbox.name.empty()) {
        return mailbox.address;
    }
    // Whatever the name has in it, as encoded words it needs no quotation.
    const bool isWord = std::ranges::all_of(mailbox.name, [](unsigned char character) {
        return character == ' ' || (character < 0x80 && std::isalnum(character) != 0);
    });
    const std::string name =
        isWord ? mailencoding::headerText(mailbox.name) : mailencoding::encodedWords(mailbox.name);
    return fmt::format("{}\r\n <{}>", name, mailbox.address);
}

/// RFC 5322, 3.3, whatever the locale.
std::string dateText() {
    constexpr std::array kDays = {"Sun", "Mon", "Tue", "Wed", "Thu", "Fri", "Sat"};
    constexpr std::array kMonths = {"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                    "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};
    constexpr int kFirstYear = 1900;
    const std::time_t now = std::time(nullptr);
    std::tm local{};
    ::localtime_r(&now, &local);
    std::array<char, 8> zone{};
    std::strftime(zone.data(), zone.size(), "%z", &local);
    return fmt::format("{}, {:02} {} {:04} {:02}:{:02}:{:02} {}",
                       kDays.at(static_cast<std::size_t>(local.tm_wday)), local.tm_mday,
                       kMonths.at(static_cast<std::size_t>(local.tm_mon)),
                       local.tm_year + kFirstYear, local.tm_hour, local.tm_min, local.tm_sec,
                       zone.data());
}

/// Letters that nobody guesses and no other mail has.
std::string uniqueText() {
    std::random_device random;
    return fmt::format("{:08x}{:08x}{:08x}{:08x}", random(), random(), random(), random());
}

/// The part behind the @, if it is one for every program.
std::string domainOf(const std::string& address) {
    const std::string domain = address.substr(address.rfind('@') + 1);
    const bool isPlain = std::ranges::all_of(domain, [](unsigned char character) {
        return character < 0x80 &&
               (std::isalnum(character) != 0 || character == '-' || character == '.');
    });
    return isPlain && !domain.empty() && domain.size() < address.size() ? domain : "localhost";
}

} // namespace

MailMessage::MailMessage(const EDMailAgent::Headers& headers, const std::string& body) {
    addHead(headers);
    text_.append(kTextFields).append("\r\n").append(mailencoding::quotedPrintable(body));
    if (!text_.ends_with("\r\n")) {
        text_ += "\r\n";
    }
}

MailMessage::MailMessage(const EDMailAgent::Headers& headers, const std::string& body,
                         const Data& jpeg, const std::string& fileName) {
    addHead(headers);
    if (std::ranges::any_of(fileName, [](char character) {
            return isControl(character) || static_cast<unsigned char>(character) >= 0x80 ||
                   character == '"' || character == '\\';
        })) {
        throw MailException("The attachment's name has a character that is not allowed.");
    }
    const std::string boundary = "ovelo-" + uniqueText();
    text_ += fmt::format("Content-Type: multipart/mixed;\r\n boundary=\"{}\"\r\n\r\n", boundary);
    text_ += fmt::format("--{}\r\n{}\r\n{}\r\n", boundary, kTextFields,
                         mailencoding::quotedPrintable(body));
    text_ += fmt::format("--{}\r\nContent-Type: image/jpeg; name=\"{}\"\r\n"
                         "Content-Disposition: attachment; filename=\"{}\"\r\n"
                         "Content-Transfer-Encoding: base64\r\n\r\n",
                         boundary, fileName, fileName);
    if (jpeg) {
        text_ += mailencoding::base64Lines(*jpeg);
    }
    text_ += fmt::format("--{}--\r\n", boundary);
}

void MailMessage::addHead(const EDMailAgent::Headers& headers) {
    const Mailbox from = mailboxOf(field(headers, EDMailFrom));
    const Mailbox to = mailboxOf(field(headers, EDMailTo));
    sender_ = from.address;
    recipient_ = to.address;
    text_ = fmt::format("Date: {}\r\nFrom: {}\r\nTo: {}\r\nSubject: {}\r\nMessage-ID: <{}@{}>\r\n"
                        "MIME-Version: 1.0\r\n",
                        dateText(), headerOf(from), headerOf(to),
                        mailencoding::headerText(field(headers, EDMailSubject)), uniqueText(),
                        domainOf(from.address));
}

} // namespace ovelo
