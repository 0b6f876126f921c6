#include "platform/Sha1.h"

#include "platform/CHandle.h"

#include <glib.h>

#include <array>
#include <cstddef>

namespace ovelo {

namespace {

constexpr std::size_t kDigestSize = 20;

} // namespace

std::string base64Of(std::string_view bytes) {
    const CHandle<gchar, &::g_free> text(
        ::g_base64_encode(reinterpret_cast<const guchar*>(bytes.data()), bytes.size()));
    return text.get();
}

std::string sha1Base64(std::string_view bytes) {
    const CHandle<GChecksum, &::g_checksum_free> sum(::g_checksum_new(G_CHECKSUM_SHA1));
    ::g_checksum_update(sum.get(), reinterpret_cast<const guchar*>(bytes.data()),
                        static_cast<gssize>(bytes.size()));
    std::array<guint8, kDigestSize> digest{};
    gsize size = digest.size();
    ::g_checksum_get_digest(sum.get(), digest.data(), &size);
    return base64Of({reinterpret_cast<const char*>(digest.data()), size});
}

} // namespace ovelo
