#include "platform/DemoSprite.h"

#include <algorithm>
#include <cstring>

namespace ovelo {

namespace {

// These loops are plain on purpose, each byte by itself: the compiler makes vector instructions of
// them.

/// Source over destination; light ends at white. `keep` tells how much of the destination stays.
void blend(std::uint8_t* __restrict to, const std::uint8_t* from, const std::uint8_t* keep,
           int bytes) {
    for (int i = 0; i < bytes; ++i) {
        const auto rest = static_cast<std::uint16_t>(keep[i] + (keep[i] >> 7));
        const auto stays =
            static_cast<std::uint16_t>(static_cast<std::uint16_t>(to[i] * rest) >> 8);
        const auto sum = static_cast<std::uint16_t>(from[i] + stays);
        to[i] = static_cast<std::uint8_t>(sum > 255 ? 255 : sum);
    }
}

/// The same with `strength` of 256.
void blendFaintly(std::uint8_t* __restrict to, const std::uint8_t* from, const std::uint8_t* keep,
                  int bytes, std::uint16_t strength) {
    for (int i = 0; i < bytes; ++i) {
        const auto covers = static_cast<std::uint16_t>((255 - keep[i]) * strength >> 8);
        const auto stays =
            static_cast<std::uint16_t>(static_cast<std::uint16_t>(to[i] * (256 - covers)) >> 8);
        const auto sum = static_cast<std::uint16_t>((from[i] * strength >> 8) + stays);
        to[i] = static_cast<std::uint8_t>(sum > 255 ? 255 : sum);
    }
}

void addLight(std::uint8_t* __restrict to, const std::uint8_t* from, int bytes) {
    for (int i = 0; i < bytes; ++i) {
        const auto sum = static_cast<std::uint16_t>(to[i] + from[i]);
        to[i] = static_cast<std::uint8_t>(sum > 255 ? 255 : sum);
    }
}

} // namespace

void DemoCanvas::shine(int x, int y, const DemoColor& color) const {
    if (x < 0 || y < 0 || x >= kWidth || y >= kHeight) {
        return;
    }
    std::uint8_t* at = row(y) + static_cast<std::ptrdiff_t>(x) * 4;
    const float light[] = {color.red, color.green, color.blue};
    for (int c = 0; c < 3; ++c) {
        const int added = static_cast<int>(light[c] * color.alpha * 255);
        at[c] = static_cast<std::uint8_t>(std::min(255, at[c] + added));
    }
}

DemoSprite::Kind DemoSprite::kindOf(const std::uint8_t* pixel) {
    if (pixel[3] == 255) {
        return Kind::Opaque;
    }
    if (pixel[3] > 0) {
        return Kind::Faint;
    }
    return pixel[0] || pixel[1] || pixel[2] ? Kind::Light : Kind::Empty;
}

DemoSprite::DemoSprite(const DemoImage& image) : width_(image.width()), height_(image.height()) {
    isBackdrop_ = width_ == DemoCanvas::kWidth;
    for (int y = 0; y < height_; ++y) {
        rowStarts_.push_back(static_cast<std::uint16_t>(runs_.size()));
        Kind before = Kind::Empty;
        for (int x = 0; x < width_; ++x) {
            const Kind kind = kindOf(image.pixel(x, y));
            addPixel(image.pixel(x, y), kind);
            if (kind != Kind::Empty && kind == before) {
                ++runs_.back().length;
            } else if (kind != Kind::Empty) {
                runs_.push_back({static_cast<std::int16_t>(x), 1, kind});
            }
            before = kind;
        }
    }
    rowStarts_.push_back(static_cast<std::uint16_t>(runs_.size()));
}

std::span<const DemoSprite::Run> DemoSprite::runsOf(int row) const {
    const std::size_t first = rowStarts_[static_cast<std::size_t>(row)];
    const std::size_t next = rowStarts_[static_cast<std::size_t>(row) + 1];
    return std::span(runs_).subspan(first, next - first);
}

void DemoSprite::addPixel(const std::uint8_t* pixel, Kind kind) {
    isBackdrop_ = isBackdrop_ && kind == Kind::Opaque;
    const auto keep = static_cast<std::uint8_t>(255 - pixel[3]);
    // The canvas is opaque and stays so: its alpha is kept, or copied.
    const std::uint8_t alpha = kind == Kind::Opaque ? 255 : 0;
    rgba_.insert(rgba_.end(), {pixel[0], pixel[1], pixel[2], alpha});
    keep_.insert(keep_.end(), {keep, keep, keep, 255});
}

void DemoSprite::paint(const DemoCanvas& canvas, int x, int y) const {
    const int first = std::max(0, -y);
    const int last = std::min(height_, DemoCanvas::kHeight - y);
    if (isBackdrop_ && x == 0 && first < last) {
        std::memcpy(canvas.row(y + first), &rgba_[at(0, first)], at(0, last) - at(0, first));
        return;
    }
    for (int row = first; row < last; ++row) {
        for (const Run& run : runsOf(row)) {
            paintRun(canvas, run, row, x, y);
        }
    }
}

void DemoSprite::paintRun(const DemoCanvas& canvas, const Run& run, int row, int x, int y) const {
    const int begin = std::max(0, x + run.x);
    const int end = std::min(DemoCanvas::kWidth, x + run.x + run.length);
    if (begin >= end) {
        return;
    }
    std::uint8_t* to = canvas.row(y + row) + static_cast<std::ptrdiff_t>(begin) * 4;
    const std::size_t from = at(begin - x, row);
    const int bytes = (end - begin) * 4;
    if (run.kind == Kind::Opaque) {
        std::memcpy(to, &rgba_[from], static_cast<std::size_t>(bytes));
    } else if (run.kind == Kind::Light) {
        addLight(to, &rgba_[from], bytes);
    } else {
        blend(to, &rgba_[from], &keep_[from], bytes);
    }
}

void DemoSprite::paintRow(const DemoCanvas& canvas, int row, int x, int y, int strength) const {
    if (row < 0 || row >= height_ || y < 0 || y >= DemoCanvas::kHeight) {
        return;
    }
    for (const Run& run : runsOf(row)) {
        const int begin = std::max(0, x + run.x);
        const int end = std::min(DemoCanvas::kWidth, x + run.x + run.length);
        if (begin < end) {
            const std::size_t from = at(begin - x, row);
            blendFaintly(canvas.row(y) + static_cast<std::ptrdiff_t>(begin) * 4, &rgba_[from],
                         &keep_[from], (end - begin) * 4, static_cast<std::uint16_t>(strength));
        }
    }
}

} // namespace ovelo
