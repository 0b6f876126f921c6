#pragma once

#include "platform/Data.h"
#include "platform/Result.h"
#include "platform/VideoFrame.h"

#include <cstdint>
#include <span>

/// JPEG pictures to and from RGBA. Any thread; each keeps an encoder of its own.
namespace ovelo::jpeg {

/// What decode() accepts.
struct DecodeLimits {
    int maxWidth = 4096;
    int maxHeight = 4096;
    /// Takes what can be read of a picture with errors in it, as people would who look at it: many
    /// cameras send a few bytes too many, or too few.
    bool acceptDamaged = false;
    /// A picture that is much larger than this comes out smaller, which is faster, but not smaller
    /// than this. 0: in its own size.
    int enoughWidth = 0;
    int enoughHeight = 0;
};

/// Encodes a picture with chroma at half size in both directions (4:2:0); alpha is left out.
///
/// quality  1 to 100; a compression factor of 0.4 is 40
/// errors   a picture without pixels or larger than JPEG allows, or another quality
Result<Data> encode(const VideoFrame& picture, int quality);

/// Decodes a picture to opaque RGBA.
///
/// errors  no JPEG, in the colours of print (CMYK), larger than the limits, or damaged
Result<VideoFrame> decode(std::span<const std::uint8_t> jpeg, const DecodeLimits& limits = {});

} // namespace ovelo::jpeg
