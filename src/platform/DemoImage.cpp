#include "platform/DemoImage.h"

namespace ovelo {

namespace {

std::uint8_t byteOf(float value) {
    return static_cast<std::uint8_t>(std::lround(std::clamp(value, 0.F, 1.F) * 255));
}

float mixed(float from, float to, float part) {
    return from + (to - from) * part;
}

/// Even-odd rule.
bool isInside(const std::vector<DemoPoint>& corners, float x, float y) {
    bool inside = false;
    DemoPoint before = corners.back();
    for (const DemoPoint& corner : corners) {
        if ((corner.y > y) != (before.y > y) &&
            x < (before.x - corner.x) * (y - corner.y) / (before.y - corner.y) + corner.x) {
            inside = !inside;
        }
        before = corner;
    }
    return inside;
}

} // namespace

DemoColor DemoColor::towards(const DemoColor& other, float part) const {
    const float p = std::clamp(part, 0.F, 1.F);
    return {mixed(red, other.red, p), mixed(green, other.green, p), mixed(blue, other.blue, p),
            mixed(alpha, other.alpha, p)};
}

DemoImage::DemoImage(int width, int height)
    : width_(width)
    , height_(height)
    , rgba_(offset(0, height)) {
}

template <typename Inside>
void DemoImage::fill(const Box& box, const DemoColor& color, Inside inside) {
    constexpr int kGrid = 4;
    const int right = std::min(width_, static_cast<int>(std::ceil(box.right)));
    const int bottom = std::min(height_, static_cast<int>(std::ceil(box.bottom)));
    for (int y = std::max(0, static_cast<int>(std::floor(box.top))); y < bottom; ++y) {
        for (int x = std::max(0, static_cast<int>(std::floor(box.left))); x < right; ++x) {
            int hits = 0;
            for (int sample = 0; sample < kGrid * kGrid; ++sample) {
                const int column = sample % kGrid;
                const int row = sample / kGrid;
                const float dx = (static_cast<float>(column) + 0.5F) / kGrid;
                const float dy = (static_cast<float>(row) + 0.5F) / kGrid;
                hits += inside(static_cast<float>(x) + dx, static_cast<float>(y) + dy) ? 1 : 0;
            }
            if (hits > 0) {
                DemoColor covered = color;
                covered.alpha *= static_cast<float>(hits) / (kGrid * kGrid);
                blend(x, y, covered);
            }
        }
    }
}

void DemoImage::rectangle(float x, float y, float width, float height, const DemoColor& color) {
    const Box box{x, y, x + width, y + height};
    fill(box, color, [&](float px, float py) {
        return px >= box.left && px < box.right && py >= box.top && py < box.bottom;
    });
}

void DemoImage::ellipse(DemoPoint center, float radiusX, float radiusY, const DemoColor& color) {
    const Box box{center.x - radiusX, center.y - radiusY, center.x + radiusX, center.y + radiusY};
    fill(box, color, [&](float px, float py) {
        const float dx = (px - center.x) / radiusX;
        const float dy = (py - center.y) / radiusY;
        return dx * dx + dy * dy <= 1;
    });
}

void DemoImage::line(DemoPoint from, DemoPoint to, float thickness, const DemoColor& color) {
    const float radius = thickness / 2;
    const float dx = to.x - from.x;
    const float dy = to.y - from.y;
    const float square = std::max(dx * dx + dy * dy, 1e-6F);
    const Box box{std::min(from.x, to.x) - radius, std::min(from.y, to.y) - radius,
                  std::max(from.x, to.x) + radius, std::max(from.y, to.y) + radius};
    fill(box, color, [&](float px, float py) {
        const float along =
            std::clamp(((px - from.x) * dx + (py - from.y) * dy) / square, 0.F, 1.F);
        return std::hypot(px - from.x - along * dx, py - from.y - along * dy) <= radius;
    });
}

void DemoImage::polygon(const std::vector<DemoPoint>& corners, const DemoColor& color) {
    Box box{corners[0].x, corners[0].y, corners[0].x, corners[0].y};
    for (const DemoPoint& corner : corners) {
        box = {std::min(box.left, corner.x), std::min(box.top, corner.y),
               std::max(box.right, corner.x), std::max(box.bottom, corner.y)};
    }
    fill(box, color, [&](float px, float py) { return isInside(corners, px, py); });
}

void DemoImage::glow(DemoPoint center, float radius, const DemoColor& color) {
    for (int y = 0; y < height_; ++y) {
        for (int x = 0; x < width_; ++x) {
            const float distance = std::hypot(static_cast<float>(x) + 0.5F - center.x,
                                              static_cast<float>(y) + 0.5F - center.y);
            const float left = 1 - distance / radius;
            if (left <= 0) {
                continue;
            }
            const float light = color.alpha * left * left;
            std::uint8_t* at = &rgba_[offset(x, y)];
            at[0] = byteOf(static_cast<float>(at[0]) / 255 + color.red * light);
            at[1] = byteOf(static_cast<float>(at[1]) / 255 + color.green * light);
            at[2] = byteOf(static_cast<float>(at[2]) / 255 + color.blue * light);
        }
    }
}

void DemoImage::blend(int x, int y, const DemoColor& color) {
    if (x < 0 || y < 0 || x >= width_ || y >= height_) {
        return;
    }
    std::uint8_t* at = &rgba_[offset(x, y)];
    const float rest = 1 - color.alpha;
    at[0] = byteOf(color.red * color.alpha + static_cast<float>(at[0]) / 255 * rest);
    at[1] = byteOf(color.green * color.alpha + static_cast<float>(at[1]) / 255 * rest);
    at[2] = byteOf(color.blue * color.alpha + static_cast<float>(at[2]) / 255 * rest);
    at[3] = byteOf(color.alpha + static_cast<float>(at[3]) / 255 * rest);
}

DemoImage DemoImage::mirrored() const {
    DemoImage other(width_, height_);
    for (int y = 0; y < height_; ++y) {
        for (int x = 0; x < width_; ++x) {
            std::copy_n(pixel(x, y), 4, &other.rgba_[offset(width_ - 1 - x, y)]);
        }
    }
    return other;
}

} // namespace ovelo
