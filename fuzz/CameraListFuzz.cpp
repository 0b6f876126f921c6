// The stored list of network cameras.

#include "ipcam/CameraRecord.h"

#include <cstdint>
#include <cstdlib>
#include <string_view>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view text(reinterpret_cast<const char*>(data), size);
    const auto parsed = ovelo::cameralist::parse(text);
    for (const auto& camera : parsed.cameras) {
        if (ovelo::cameralist::separatorIn(camera)) {
            std::abort();
        }
    }
    // What was read is written so that it is read again.
    const auto again = ovelo::cameralist::parse(ovelo::cameralist::format(parsed.cameras));
    if (again.isDamaged || again.cameras != parsed.cameras) {
        std::abort();
    }
    return 0;
}
