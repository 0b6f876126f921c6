#pragma once

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace ovelo {

/// A colour with values from 0 to 1, not premultiplied.
struct DemoColor {
    float red = 0;
    float green = 0;
    float blue = 0;
    float alpha = 1;

    /// From 0 to 255, as colour tables have it.
    static constexpr DemoColor of(int r, int g, int b, float a = 1) {
        return {static_cast<float>(r) / 255, static_cast<float>(g) / 255,
                static_cast<float>(b) / 255, a};
    }

    /// What lies `part` (0 to 1) of the way to `other`.
    [[nodiscard]] DemoColor towards(const DemoColor& other, float part) const;
};

struct DemoPoint {
    float x = 0;
    float y = 0;
};

/// A small drawing with smooth edges, made once and then turned into a DemoSprite. RGBA,
/// premultiplied; light that is only added has colour without alpha.
class DemoImage final {
public:
    DemoImage(int width, int height);

    [[nodiscard]] int width() const { return width_; }
    [[nodiscard]] int height() const { return height_; }
    [[nodiscard]] const std::uint8_t* pixel(int x, int y) const { return &rgba_[offset(x, y)]; }

    void rectangle(float x, float y, float width, float height, const DemoColor& color);
    void ellipse(DemoPoint center, float radiusX, float radiusY, const DemoColor& color);
    void line(DemoPoint from, DemoPoint to, float thickness, const DemoColor& color);
    void polygon(const std::vector<DemoPoint>& corners, const DemoColor& color);

    /// Adds light that fades out at `radius`.
    void glow(DemoPoint center, float radius, const DemoColor& color);

    /// Draws over one pixel; colours beyond the edges are ignored.
    void blend(int x, int y, const DemoColor& color);

    /// The same picture, left and right exchanged.
    [[nodiscard]] DemoImage mirrored() const;

private:
    struct Box {
        float left, top, right, bottom;
    };

    /// Fills where `inside` holds, with edges smoothed by 16 samples a pixel.
    template <typename Inside>
    void fill(const Box& box, const DemoColor& color, Inside inside);

    [[nodiscard]] std::size_t offset(int x, int y) const {
        return 4 * (static_cast<std::size_t>(y) * static_cast<std::size_t>(width_) +
                    static_cast<std::size_t>(x));
    }

    int width_;
    int height_;
    std::vector<std::uint8_t> rgba_;
};

} // namespace ovelo
