#pragma once

#include "platform/Canvas.h"
#include "platform/VideoFrame.h"

#include <cstddef>
#include <cstdint>
#include <memory>

namespace ovelo {

/// A picture that is being made: RGBA, 8 bits a sample, alpha premultiplied and last, rows of width
/// * 4 bytes from the top.
///
/// thread    one at a time
/// lifetime  owns its pixels
class Bitmap final {
public:
    static constexpr std::size_t kBytesPerPixel = 4;

    /// The pixels are not set.
    Bitmap(int width, int height)
        : width_(width)
        , height_(height)
        , pixels_(std::make_unique_for_overwrite<std::uint8_t[]>(
              bytesPerRow() * static_cast<std::size_t>(height))) {}

    [[nodiscard]] int width() const { return width_; }
    [[nodiscard]] int height() const { return height_; }
    [[nodiscard]] std::size_t bytesPerRow() const {
        return static_cast<std::size_t>(width_) * kBytesPerPixel;
    }
    [[nodiscard]] std::size_t size() const {
        return bytesPerRow() * static_cast<std::size_t>(height_);
    }

    [[nodiscard]] std::uint8_t* data() { return pixels_.get(); }
    [[nodiscard]] const std::uint8_t* data() const { return pixels_.get(); }

    /// y  from the top
    [[nodiscard]] std::uint8_t* row(int y) {
        return data() + static_cast<std::size_t>(y) * bytesPerRow();
    }
    [[nodiscard]] const std::uint8_t* row(int y) const {
        return data() + static_cast<std::size_t>(y) * bytesPerRow();
    }

    /// The same pixels as a frame, valid only as long as the bitmap.
    [[nodiscard]] VideoFrame frame() const {
        return {width_, height_, bytesPerRow(), data(), nullptr};
    }

    /// The same pixels to draw on.
    [[nodiscard]] Canvas::Surface surface() { return {width_, height_, bytesPerRow(), data()}; }

private:
    int width_;
    int height_;
    std::unique_ptr<std::uint8_t[]> pixels_;
};

} // namespace ovelo
