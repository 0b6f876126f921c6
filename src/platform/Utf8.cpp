#include "platform/Utf8.h"

#include <glib.h>

namespace ovelo {

bool isUtf8(std::string_view text) {
    return g_utf8_validate(text.data(), static_cast<gssize>(text.size()), nullptr) != FALSE;
}

} // namespace ovelo
