#include "support/UtcText.h"

#include <fmt/chrono.h>
#include <fmt/format.h>

#include <ctime>

namespace ovelo::utctext {

std::string of(std::int64_t seconds) {
    return fmt::format("{:%Y-%m-%dT%H:%M:%SZ}", fmt::gmtime(static_cast<std::time_t>(seconds)));
}

std::optional<std::int64_t> parse(const std::string& text) {
    std::tm date{};
    const char* const end = ::strptime(text.c_str(), "%Y-%m-%dT%H:%M:%SZ", &date);
    if (end == nullptr || *end != '\0') {
        return std::nullopt;
    }
    const std::int64_t seconds = ::timegm(&date);
    // The 31st of June would have become the 1st of July.
    return of(seconds) == text ? std::optional(seconds) : std::nullopt;
}

} // namespace ovelo::utctext
