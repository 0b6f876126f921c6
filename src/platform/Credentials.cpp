#include "platform/Credentials.h"

#include <algorithm>

namespace ovelo {

std::string withoutCredentials(std::string_view text) {
    constexpr std::string_view kMark = "://";
    std::string clean;
    for (auto mark = text.find(kMark); mark != std::string_view::npos; mark = text.find(kMark)) {
        clean += text.substr(0, mark + kMark.size());
        text.remove_prefix(mark + kMark.size());
        // As far as the address may reach: a password may hold what should have been escaped.
        const auto address =
            text.substr(0, std::min(text.find_first_of(" \t\r\n\"'"), text.size()));
        if (const auto at = address.rfind('@'); at != std::string_view::npos) {
            clean += "...";
            text.remove_prefix(at);
        }
    }
    return clean.append(text);
}

} // namespace ovelo
