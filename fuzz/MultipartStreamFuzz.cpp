// What a camera streams, cut into pieces anywhere: always the same parts, and bounded memory.

#include "ipcam/MultipartStream.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

namespace {

using ovelo::HttpResponse;
using ovelo::MultipartStream;

constexpr std::string_view kSeparator = "\n\n";

std::string partsOf(const std::string& boundary, std::string_view stream, std::size_t step) {
    std::string seen;
    std::size_t received = 0;
    MultipartStream parts(boundary, {[&](const HttpResponse& part) {
                                         seen += "[" + part.header("Content-Type") + "]";
                                     },
                                     [&](std::string_view bytes) {
                                         seen += bytes;
                                         received += bytes.size();
                                     }});
    for (std::size_t at = 0; at < stream.size(); at += step) {
        if (parts.feed(stream.substr(at, step))) {
            break;
        }
    }
    if (received > stream.size()) {
        std::abort();
    }
    return seen;
}

} // namespace

/// One byte of pace, the value of a "Content-Type" header, an empty line, and the stream.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size < 2) {
        return 0;
    }
    const std::string_view text(reinterpret_cast<const char*>(data) + 1, size - 1);
    const auto end = std::min(text.find(kSeparator), text.size());
    const auto boundary = MultipartStream::boundaryOf(text.substr(0, end));
    if (!boundary) {
        return 0;
    }
    const std::string_view stream = text.substr(std::min(end + kSeparator.size(), text.size()));
    const std::string whole = partsOf(*boundary, stream, std::max<std::size_t>(stream.size(), 1));
    if (partsOf(*boundary, stream, data[0] + std::size_t{1}) != whole) {
        std::abort();
    }
    return 0;
}
