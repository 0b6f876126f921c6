// The manifest of the newest version, and the comparison of what it says with ours.

#include "support/AutoUpdateUtil.h"
#include "support/UpdateManifest.h"

#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view text(reinterpret_cast<const char*>(data), size);
    const auto manifest = ovelo::UpdateManifest::parse(text);
    if (!manifest) {
        return 0;
    }
    const std::string& newest = manifest.value().newest;
    if ((newest + manifest.value().link).find_first_of("\r\n") != std::string::npos) {
        std::abort();
    }
    const int order = ovelo::AutoUpdateUtil::compareVersion(newest, "1.2.3");
    if (order != -ovelo::AutoUpdateUtil::compareVersion("1.2.3", newest) ||
        ovelo::AutoUpdateUtil::compareVersion(newest, newest) != 0) {
        std::abort();
    }
    return 0;
}
