// One item of the setting "captureSources", as an editor may have left it.

#include "platform/CaptureSourceEntry.h"

#include <cstdint>
#include <cstdlib>
#include <string_view>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view text(reinterpret_cast<const char*>(data), size);
    const auto entry = ovelo::CaptureSourceEntry::parse(text);
    if (!entry) {
        return 0;
    }
    const bool isWhole = !entry.value().name.empty() && !entry.value().source.empty() &&
                         entry.value().name.find('|') == std::string::npos;
    if (!isWhole) {
        std::abort();
    }
    [[maybe_unused]] const auto form = ovelo::formOfSource(entry.value().source);
    return 0;
}
