#include "platform/SmtpReplies.h"

namespace ovelo {

std::optional<std::string> SmtpReplies::next() {
    constexpr std::size_t kMark = 3; // behind the code
    for (auto end = unread_.find('\n'); end != std::string::npos; end = unread_.find('\n')) {
        std::string line = unread_.substr(0, end);
        unread_.erase(0, end + 1);
        if (line.size() <= kMark || line[kMark] != '-') {
            length_ = 0;
            return line;
        }
        length_ += end + 1;
    }
    return std::nullopt;
}

} // namespace ovelo
