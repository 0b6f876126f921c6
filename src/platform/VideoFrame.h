#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>

namespace ovelo {

/// One decoded picture of a camera: RGBA, 8 bits a sample, alpha premultiplied (and opaque from
/// every camera), rows from the top.
///
/// lifetime  `pixels` is valid as long as a copy of `owner` is held
/// thread    read-only, any; copying a frame copies no pixels
struct VideoFrame {
    int width = 0;
    int height = 0;
    std::size_t bytesPerRow = 0;
    const std::uint8_t* pixels = nullptr;
    std::shared_ptr<const void> owner;
};

} // namespace ovelo
