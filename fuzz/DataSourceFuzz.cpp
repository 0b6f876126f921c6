#include "viewer/DataSourceList.h"

#include <cstdint>
#include <cstdlib>
#include <string_view>

/// Whatever the line: what was read from it fits into it, and choosing any source works.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view line(reinterpret_cast<const char*>(data), size);
    const auto list = ovelo::DataSourceList::parse(line);
    if (!list) {
        return 0;
    }
    std::size_t length = 0;
    for (const auto* sources : {&list->video, &list->audio}) {
        for (const auto& source : *sources) {
            length += source.name.size() + source.identifier.size() + sizeof "||v|0" - 1;
        }
    }
    if (length > size) {
        std::abort();
    }
    for (const auto& source : list->video) {
        if (list->findVideo(source.name) == nullptr ||
            list->choice(source.name).find('|') == std::string::npos) {
            std::abort();
        }
    }
    return 0;
}
