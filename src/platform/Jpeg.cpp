#include "platform/Jpeg.h"

#include "platform/CHandle.h"

#include <turbojpeg.h>

#include <cstddef>
#include <string>

namespace ovelo::jpeg {

namespace {

using Coder = CHandle<void, &tjDestroy>;

constexpr int kMaxSide = 65500; // of the format as the library writes it
constexpr int kBytesPerPixel = 4;
constexpr int kMaxQuality = 100;

Failure failureOf(const char* what, tjhandle coder) {
    return Failure{std::string(what) + ": " + tjGetErrorStr2(coder)};
}

tjhandle compressor() {
    thread_local const Coder coder(tjInitCompress());
    return coder.get();
}

bool isEncodable(const VideoFrame& picture) {
    return picture.pixels != nullptr && picture.width > 0 && picture.height > 0 &&
           picture.width <= kMaxSide && picture.height <= kMaxSide &&
           picture.bytesPerRow >= static_cast<std::size_t>(picture.width) * kBytesPerPixel;
}

struct Header {
    int width = 0;
    int height = 0;
};

/// The library says "read" of a picture that ends before its size is known, and leaves the size as
/// it was.
Result<Header> headerOf(tjhandle coder, std::span<const std::uint8_t> jpeg,
                        const DecodeLimits& limits) {
    Header header;
    int subsampling = 0;
    int colourSpace = 0;
    if (tjDecompressHeader3(coder, jpeg.data(), static_cast<unsigned long>(jpeg.size()),
                            &header.width, &header.height, &subsampling, &colourSpace) != 0) {
        return failureOf("no JPEG", coder);
    }
    if (header.width <= 0 || header.height <= 0) {
        return Failure{"a JPEG without a size"};
    }
    if (colourSpace == TJCS_CMYK || colourSpace == TJCS_YCCK) {
        return Failure{"a JPEG in CMYK"};
    }
    if (header.width > limits.maxWidth || header.height > limits.maxHeight) {
        return Failure{"a JPEG too large: " + std::to_string(header.width) + " x " +
                       std::to_string(header.height)};
    }
    return header;
}

/// The smallest size that the library can decode to and that is enough.
Header decodedSize(const Header& whole, const DecodeLimits& limits) {
    if (limits.enoughWidth <= 0 || limits.enoughHeight <= 0) {
        return whole;
    }
    // Only these need no more work for a pixel than the whole size does.
    for (const int divisor : {8, 4, 2}) {
        const tjscalingfactor factor{1, divisor};
        const Header scaled{TJSCALED(whole.width, factor), TJSCALED(whole.height, factor)};
        if (scaled.width >= limits.enoughWidth && scaled.height >= limits.enoughHeight) {
            return scaled;
        }
    }
    return whole;
}

} // namespace

Result<Data> encode(const VideoFrame& picture, int quality) {
    if (!isEncodable(picture)) {
        return Failure{"no picture to encode"};
    }
    if (quality < 1 || quality > kMaxQuality) {
        return Failure{"no such quality: " + std::to_string(quality)};
    }
    if (compressor() == nullptr) {
        return Failure{"no JPEG encoder"};
    }
    // Room for the worst case, kept from picture to picture.
    thread_local Bytes room;
    const unsigned long needed = tjBufSize(picture.width, picture.height, TJSAMP_420);
    if (room.size() < needed) {
        room.resize(needed);
    }
    unsigned char* output = room.data();
    unsigned long size = room.size();
    if (tjCompress2(compressor(), picture.pixels, picture.width,
                    static_cast<int>(picture.bytesPerRow), picture.height, TJPF_RGBA, &output,
                    &size, TJSAMP_420, quality, TJFLAG_NOREALLOC) != 0) {
        return failureOf("not encoded", compressor());
    }
    return makeData(Bytes(output, output + size));
}

Result<VideoFrame> decode(std::span<const std::uint8_t> jpeg, const DecodeLimits& limits) {
    // One for each picture: after a failure the library goes on where it stopped, and fails again.
    const Coder coder(tjInitDecompress());
    if (!coder) {
        return Failure{"no JPEG decoder"};
    }
    if (jpeg.empty()) {
        return Failure{"no JPEG: it is empty"};
    }
    const auto header = headerOf(coder.get(), jpeg, limits);
    if (!header) {
        return Failure{header.error()};
    }
    const auto [width, height] = decodedSize(header.value(), limits);
    const std::size_t bytesPerRow = static_cast<std::size_t>(width) * kBytesPerPixel;
    // Filled, for a damaged picture may end before its last row.
    auto pixels =
        std::make_shared<Bytes>(bytesPerRow * static_cast<std::size_t>(height), std::uint8_t{0});
    // Without a limit a small file of many scans takes minutes.
    const int outcome =
        tjDecompress2(coder.get(), jpeg.data(), static_cast<unsigned long>(jpeg.size()),
                      pixels->data(), width, 0, height, TJPF_RGBA, TJFLAG_LIMITSCANS);
    const bool usable = limits.acceptDamaged && tjGetErrorCode(coder.get()) == TJERR_WARNING;
    if (outcome != 0 && !usable) {
        return failureOf("a damaged JPEG", coder.get());
    }
    return VideoFrame{width, height, bytesPerRow, pixels->data(), pixels};
}

} // namespace ovelo::jpeg
