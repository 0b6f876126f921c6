#include "viewer/ViewerStream.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <span>
#include <vector>

namespace {

using ovelo::ViewerBlock;
using ovelo::ViewerStream;

void require(bool condition) {
    if (!condition) {
        std::abort();
    }
}

bool equal(const ViewerStream::Item& one, const ViewerStream::Item& other) {
    if (one.index() != other.index()) {
        return false;
    }
    if (const auto* line = std::get_if<std::string>(&one)) {
        return *line == std::get<std::string>(other);
    }
    const auto& block = std::get<ViewerBlock>(one);
    const auto& otherBlock = std::get<ViewerBlock>(other);
    return block.header == otherBlock.header && block.bytes == otherBlock.bytes;
}

/// Feeds the bytes in pieces of `step` and checks each item by itself.
std::vector<ViewerStream::Item> itemsOf(std::span<const std::uint8_t> bytes, std::size_t step) {
    ViewerStream stream;
    std::vector<ViewerStream::Item> items;
    while (!bytes.empty()) {
        auto piece = bytes.first(std::min(step, bytes.size()));
        bytes = bytes.subspan(piece.size());
        while (auto item = stream.take(piece)) {
            if (const auto* block = std::get_if<ViewerBlock>(&*item)) {
                require(block->bytes.size() == block->header.length);
            }
            items.push_back(std::move(*item));
        }
        require(piece.empty() || !stream.error().empty());
    }
    return items;
}

} // namespace

/// The first byte says how the rest is cut into pieces; the items may not depend on it.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size == 0) {
        return 0;
    }
    const std::span bytes(data + 1, size - 1);
    const auto whole = itemsOf(bytes, std::max<std::size_t>(bytes.size(), 1));
    const auto pieces = itemsOf(bytes, data[0] % 64U + 1U);
    require(std::equal(whole.begin(), whole.end(), pieces.begin(), pieces.end(), equal));
    return 0;
}
