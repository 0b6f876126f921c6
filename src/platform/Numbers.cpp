#include "platform/Numbers.h"

#include <glib.h>

#include <algorithm>
#include <cstdlib>
#include <limits>

namespace ovelo::numbers {

double leadingDouble(const std::string& text) {
    return g_ascii_strtod(text.c_str(), nullptr);
}

int leadingInteger(const std::string& text) {
    constexpr int kDecimal = 10;
    const long number = std::strtol(text.c_str(), nullptr, kDecimal);
    return static_cast<int>(
        std::clamp<long>(number, std::numeric_limits<int>::min(), std::numeric_limits<int>::max()));
}

bool leadingBoolean(std::string_view text) {
    const auto skip = [&text](std::string_view letters) {
        text.remove_prefix(std::min(text.find_first_not_of(letters), text.size()));
    };
    skip(" \t\r\n\v\f");
    if (text.starts_with('+') || text.starts_with('-')) {
        text.remove_prefix(1);
    }
    skip("0");
    constexpr std::string_view kTrue = "YyTt123456789";
    return !text.empty() && kTrue.find(text.front()) != std::string_view::npos;
}

} // namespace ovelo::numbers
