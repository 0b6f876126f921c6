// What a viewer sends, cut into pieces anywhere: always the same lines, and bounded memory.

#include "platform/Utf8.h"
#include "server/LineBuffer.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <vector>

namespace {

using ovelo::LineBuffer;

void takeLines(LineBuffer& buffer, std::vector<std::string>& lines) {
    std::string line;
    for (auto result = buffer.next(line); result != LineBuffer::Result::None;
         result = buffer.next(line)) {
        if (result != LineBuffer::Result::Line) {
            continue;
        }
        const bool isSound = line.size() < LineBuffer::kLineBytes && ovelo::isUtf8(line) &&
                             line.find('\n') == std::string::npos;
        if (!isSound) {
            std::abort();
        }
        lines.push_back(line);
    }
}

std::vector<std::string> linesOf(const std::uint8_t* data, std::size_t size, std::size_t step) {
    LineBuffer buffer;
    std::vector<std::string> lines;
    for (std::size_t at = 0; at < size; at += step) {
        const std::size_t end = std::min(size, at + step);
        buffer.bytes().insert(buffer.bytes().end(), data + at, data + end);
        takeLines(buffer, lines);
    }
    return lines;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size < 2) {
        return 0;
    }
    const std::size_t step = data[0] + std::size_t{1};
    if (linesOf(data + 1, size - 1, step) != linesOf(data + 1, size - 1, size)) {
        std::abort();
    }
    return 0;
}
