#pragma once

#include "platform/DemoImage.h"

#include <cstdint>
#include <span>
#include <vector>

namespace ovelo {

/// The picture that is being painted: 320 x 240 RGBA, opaque.
struct DemoCanvas {
    static constexpr int kWidth = 320;
    static constexpr int kHeight = 240;

    std::uint8_t* pixels = nullptr;

    [[nodiscard]] std::uint8_t* row(int y) const {
        return pixels + static_cast<std::ptrdiff_t>(y) * kWidth * 4;
    }

    /// Adds light to one pixel; beyond the edges nothing happens.
    void shine(int x, int y, const DemoColor& color) const;
};

/// A drawing that is quick to paint: it knows which pixels of each row are opaque, and which can be
/// seen at all.
class DemoSprite final {
public:
    explicit DemoSprite(const DemoImage& image);

    [[nodiscard]] int width() const { return width_; }
    [[nodiscard]] int height() const { return height_; }

    /// Paints with the top left corner at (x, y); what lies beyond the edges is left out.
    void paint(const DemoCanvas& canvas, int x, int y) const;

    /// Paints one row of the drawing, with `strength` of 256.
    void paintRow(const DemoCanvas& canvas, int row, int x, int y, int strength) const;

private:
    enum class Kind : std::int8_t { Empty, Faint, Light, Opaque };
    struct Run { // small, and all in one block: a picture goes through a thousand of them
        std::int16_t x = 0;
        std::int16_t length = 0;
        Kind kind = Kind::Empty;
    };
    static Kind kindOf(const std::uint8_t* pixel);

    [[nodiscard]] std::span<const Run> runsOf(int row) const;
    void addPixel(const std::uint8_t* pixel, Kind kind);
    void paintRun(const DemoCanvas& canvas, const Run& run, int row, int x, int y) const;
    [[nodiscard]] std::size_t at(int x, int row) const {
        return 4 * (static_cast<std::size_t>(row) * static_cast<std::size_t>(width_) +
                    static_cast<std::size_t>(x));
    }

    int width_;
    int height_;
    bool isBackdrop_ = false;              // opaque, and as wide as the canvas
    std::vector<std::uint8_t> rgba_;       // premultiplied; alpha 0 but for opaque pixels
    std::vector<std::uint8_t> keep_;       // for each byte, how much of the canvas stays
    std::vector<Run> runs_;                // row by row
    std::vector<std::uint16_t> rowStarts_; // in runs_; one more than there are rows
};

} // namespace ovelo
