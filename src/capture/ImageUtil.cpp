#include "capture/ImageUtil.h"

#include "capture/PictureTransform.h"
#include "capture/PixelOrder.h"
#include "capture/TextOverlay.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>

namespace ovelo {

namespace {

constexpr std::uint32_t kAlpha = 0xFF000000;
constexpr int kMaxSum = 3 * 255;

/// For each sum of red, green and blue the green that takes their place: their mean, rounded down,
/// by two and a half, rounded down, at most 255.
constexpr auto kNightVision = [] {
    std::array<std::uint32_t, kMaxSum + 1> greens{};
    for (std::uint32_t sum = 0; sum < greens.size(); ++sum) {
        greens[sum] = std::min(sum / 3 * 5 / 2, 255U) << 8U;
    }
    return greens;
}();

std::uint32_t nightVision(std::uint32_t pixel) {
    const std::uint32_t sum = (pixel & 0xFFU) + (pixel >> 8U & 0xFFU) + (pixel >> 16U & 0xFFU);
    return (pixel & kAlpha) | kNightVision[sum];
}

} // namespace

Bitmap ImageUtil::GetResizedImage(const VideoFrame& frame, float width, float height,
                                  const Settings& settings) {
    return transformed(frame, static_cast<int>(width), static_cast<int>(height),
                       PictureTransform::fromSettings(settings));
}

void ImageUtil::SetNightVision(Bitmap& bitmap, float width, float height) {
    const auto wanted = static_cast<std::size_t>(std::ceil(std::max(width * height, 0.0F)));
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
    if (letters.empty() || width < 1 || height < 1) {
        return;
    }
    const TextPlacement placement{std::string(letters),
                                  std::clamp(static_cast<int>(width), 0, bitmap.width()),
                                  std::clamp(static_cast<int>(height), 0, bitmap.height()), x, y};
    overlays.get(placement)->drawOn(bitmap);
}

} // namespace ovelo
