#include "capture/ImageUtil.h"

#include "capture/PictureTransform.h"
#include "capture/PixelOrder.h"
#include "capture/TextOverlay.h"

#include <algorithm>
#include <cstdint>

namespace ovelo {

namespace {

/// The green of a pixel's grey: the mean of red, green and blue, rounded down, by two and a half,
/// rounded down, at most 255.
std::uint32_t nightVision(std::uint32_t pixel) {
    const std::uint32_t sum = (pixel & 0xFFU) + (pixel >> 8U & 0xFFU) + (pixel >> 16U & 0xFFU);
    const std::uint32_t grey = sum * 21846U >> 16U; // sum / 3, exact up to 3 * 255
    const std::uint32_t bright = std::min(grey * 5U / 2U, std::uint32_t{255});
    return (pixel & kOpaque) | bright << 8U;
}

} // namespace

Bitmap ImageUtil::GetResizedImage(const VideoFrame& frame, float width, float height,
                                  const Settings& settings) {
    return transformed(frame, static_cast<int>(width), static_cast<int>(height),
                       PictureTransform::fromSettings(settings));
}

void ImageUtil::SetNightVision(Bitmap& bitmap, float width, float height) {
    const auto wanted = static_cast<std::size_t>(std::max(width * height, 0.0F));
    const auto count = static_cast<int>(std::min(wanted, bitmap.size() / Bitmap::kBytesPerPixel));
    std::uint8_t* pixels = bitmap.data();
    for (int i = 0; i < count; ++i) {
        setPixel(pixels, i, nightVision(pixelAt(pixels, i)));
    }
}

void ImageUtil::AddText(Bitmap& bitmap, float width, float height, std::string_view text, float x,
                        float y) {
    static TextOverlays overlays;
    const auto letters = text.substr(0, text.find('\0'));
    if (letters.empty()) {
        return;
    }
    const TextPlacement placement{std::string(letters),
                                  std::clamp(static_cast<int>(width), 0, bitmap.width()),
                                  std::clamp(static_cast<int>(height), 0, bitmap.height()), x, y};
    overlays.get(placement)->drawOn(bitmap);
}

} // namespace ovelo
