#pragma once

#include "platform/VideoFrame.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string_view>

namespace ovelo {

/// Draws pictures and text into memory.
///
/// Coordinates have their origin at the bottom left, y upward, in pixels. Each transformation
/// applies to what is drawn after it, inside those before it.
///
/// thread    one at a time
/// lifetime  the memory outlives the canvas
class Canvas final {
public:
    /// RGBA, 8 bits a sample, alpha premultiplied, rows from the top.
    struct Surface {
        int width = 0;
        int height = 0;
        std::size_t bytesPerRow = 0;
        std::uint8_t* pixels = nullptr;
    };

    /// A typeface and how it is set.
    struct Lettering {
        const char* family = "Times";
        bool bold = true;
        int size = 15;                 // pixels
        double characterSpacing = 5.0; // pixels after each character
        double fillAlpha = 0.5;        // white
        double strokeWidth = 1.0;      // pixels, opaque white
        double direction = 0.0;        // radians, counter-clockwise
    };

    explicit Canvas(const Surface& surface);
    ~Canvas();
    Canvas(const Canvas&) = delete;
    Canvas& operator=(const Canvas&) = delete;

    /// Fills everything with opaque black.
    void fillBlack();

    void translate(double x, double y);
    void scale(double x, double y);

    /// radians  counter-clockwise; multiples of a quarter turn are exact
    void rotate(double radians);

    /// Draws a picture upright into the rectangle (0, 0, width, height), between its pixels where
    /// they do not meet.
    void drawImage(const VideoFrame& picture, double width, double height);

    /// Draws a text, each letter filled and then stroked, from (x, y) on its base line. Control
    /// characters are blanks.
    ///
    /// errors  draws nothing, and says so once on standard error, in a process without a graphical
    /// Qt application
    void drawText(std::u32string_view text, double x, double y, const Lettering& lettering);

private:
    struct Painter;

    std::unique_ptr<Painter> painter_;
};

/// Stretches a picture to another size, each new pixel an average of the old ones that it covers.
///
/// target  wholly overwritten
void stretch(const VideoFrame& picture, const Canvas::Surface& target);

} // namespace ovelo
