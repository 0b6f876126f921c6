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

} // namespace ovelo::numbers
