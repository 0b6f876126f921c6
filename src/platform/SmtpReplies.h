#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace ovelo {

/// Cuts what a mail server says into replies (RFC 5321, 4.2): lines that begin with a code, all but
/// the last of a reply with a hyphen behind it.
class SmtpReplies final {
public:
    static constexpr std::size_t kLongest = 65536; // more is no mail server's

    /// Takes what has come, cut anywhere.
    void append(std::string_view bytes) { unread_.append(bytes); }

    /// The last line of the next reply, with its carriage return; nothing while more must come.
    std::optional<std::string> next();

    /// True when a reply has no end in sight.
    [[nodiscard]] bool isTooLong() const { return length_ + unread_.size() > kLongest; }

private:
    std::string unread_;
    std::size_t length_ = 0; // of the lines of this reply that are gone already
};

} // namespace ovelo
