#pragma once

#include <string_view>

namespace ovelo {

/// True when `text` is well-formed UTF-8 (RFC 3629) without a NUL in it.
[[nodiscard]] bool isUtf8(std::string_view text);

} // namespace ovelo
