#pragma once

#include <charconv>
#include <optional>
#include <string_view>
#include <system_error>
#include <vector>

/// What the parsers of the server's lines have in common.
namespace ovelo::fields {

/// The parts between the separators; one more than there are separators.
[[nodiscard]] std::vector<std::string_view> split(std::string_view text, char separator);

/// The number that the whole text is, without blanks or a plus; none when it is not one or does not
/// fit. Knows no locale.
template <typename Number>
std::optional<Number> number(std::string_view text) {
    Number value{};
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc{} || end != text.data() + text.size()) {
        return std::nullopt;
    }
    return value;
}

} // namespace ovelo::fields
