#pragma once

#include <string>
#include <string_view>

/// Numbers in the texts of peers, whatever the user's locale. Any thread.
namespace ovelo::numbers {

/// The number that a text begins with, as atof reads it in the C locale ("nan" and "inf" included);
/// 0 if none.
double leadingDouble(const std::string& text);

/// The decimal number that a text begins with, 0 if none; held to the limits of int.
int leadingInteger(const std::string& text);

/// True for a text that begins with Y, y, T, t or a number that is not 0, behind blanks, a sign and
/// zeros.
bool leadingBoolean(std::string_view text);

} // namespace ovelo::numbers
