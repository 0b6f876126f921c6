#include "ipcam/JpegCameraPictures.h"

#include "platform/Canvas.h"
#include "platform/Jpeg.h"
#include "platform/PictureFile.h"

#include <string>

namespace ovelo {

namespace {

constexpr int kMaxSide = 8192;

// Of the dark band behind a line of text, in rows and pixels.
constexpr int kBandTop = 98;
constexpr int kBandHeight = 44;
constexpr int kTextSize = 20;
constexpr double kTextLeft = 20;
constexpr double kTextBase = 240 - kBandTop - kBandHeight / 2.0 - 7; // from the bottom

void darken(std::uint8_t* pixels, std::size_t count) {
    for (std::size_t i = 0; i < count * 4; ++i) {
        if (i % 4 != 3) {
            pixels[i] = static_cast<std::uint8_t>(pixels[i] / 3);
        }
    }
}

} // namespace

Result<VideoFrame> JpegCameraPictures::decode(std::span<const std::uint8_t> jpeg) {
    jpeg::DecodeLimits limits;
    limits.maxWidth = limits.maxHeight = kMaxSide;
    limits.enoughWidth = picturefile::kWidth;
    limits.enoughHeight = picturefile::kHeight;
    return jpeg::decode(jpeg, limits);
}

Bytes JpegCameraPictures::fill(const VideoFrame& picture) {
    Bytes rgba(picturefile::kSize);
    stretch(picture,
            {picturefile::kWidth, picturefile::kHeight, picturefile::kBytesPerRow, rgba.data()});
    return rgba;
}

void JpegCameraPictures::drawLine(Bytes& rgba, std::string_view text) {
    darken(rgba.data() + picturefile::kBytesPerRow * kBandTop,
           static_cast<std::size_t>(picturefile::kWidth) * kBandHeight);
    Canvas canvas(
        {picturefile::kWidth, picturefile::kHeight, picturefile::kBytesPerRow, rgba.data()});
    Canvas::Lettering lettering;
    lettering.size = kTextSize;
    lettering.characterSpacing = 1.0;
    lettering.fillAlpha = 1.0;
    canvas.drawText(std::u32string(text.begin(), text.end()), kTextLeft, kTextBase, lettering);
}

} // namespace ovelo
