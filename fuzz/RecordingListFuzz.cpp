#include "viewer/RecordingList.h"

#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

/// Whatever the line: writing the list again gives the beginning of the line.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view line(reinterpret_cast<const char*>(data), size);
    const auto list = ovelo::RecordingList::parse(line);
    if (!list) {
        return 0;
    }
    std::string again = "RECORDED_LIST";
    for (const auto& recording : list->recordings) {
        again.append(",-").append(recording.name).append("-").append(recording.date);
    }
    if (!line.starts_with(again)) {
        std::abort();
    }
    return 0;
}
