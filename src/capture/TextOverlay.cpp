#include "capture/TextOverlay.h"

#include "capture/MacRoman.h"

#include <algorithm>
#include <cstring>

namespace ovelo {

namespace {

constexpr std::size_t kMaxEntries = 8;       // two texts a picture, a few sizes, and some room
constexpr std::size_t kMaxCharacters = 1024; // the spacing alone puts what follows far outside

/// The text runs upward at about 57 degrees.
constexpr Canvas::Lettering kLettering{.direction = 1.0};

std::uint8_t coverageAt(const Bitmap& bitmap, int x, int y) {
    return bitmap.row(y)[static_cast<std::size_t>(x) * Bitmap::kBytesPerPixel + 3];
}

Bitmap drawn(const TextPlacement& placement) {
    Bitmap bitmap(placement.width, placement.height);
    std::memset(bitmap.data(), 0, bitmap.size());
    Canvas canvas(bitmap.surface());
    const auto text = fromMacRoman(placement.text.substr(0, kMaxCharacters));
    canvas.drawText(text, placement.x, placement.y, kLettering);
    return bitmap;
}

/// Lays white of this coverage over one sample.
std::uint8_t whitened(std::uint8_t sample, std::uint8_t coverage) {
    const unsigned rest = sample * (255U - coverage) + 128U;
    return static_cast<std::uint8_t>(coverage +
                                     ((rest + (rest >> 8U)) >> 8U)); // rest / 255, rounded
}

} // namespace

TextOverlay::TextOverlay(const TextPlacement& placement) {
    const Bitmap bitmap = drawn(placement);
    for (int y = 0; y < bitmap.height(); ++y) {
        Run run{y, 0, {}};
        for (int x = 0; x < bitmap.width(); ++x) {
            run.coverage.push_back(coverageAt(bitmap, x, y));
        }
        const auto covered = [](std::uint8_t coverage) { return coverage != 0; };
        const auto first = std::find_if(run.coverage.begin(), run.coverage.end(), covered);
        if (first == run.coverage.end()) {
            continue;
        }
        const auto last = std::find_if(run.coverage.rbegin(), run.coverage.rend(), covered);
        run.x = static_cast<int>(first - run.coverage.begin());
        run.coverage = {first, last.base()};
        runs_.push_back(std::move(run));
    }
}

void TextOverlay::drawOn(Bitmap& picture) const {
    for (const Run& run : runs_) {
        std::uint8_t* sample =
            picture.row(run.y) + static_cast<std::size_t>(run.x) * Bitmap::kBytesPerPixel;
        for (const std::uint8_t coverage : run.coverage) {
            for (std::size_t i = 0; i < Bitmap::kBytesPerPixel; ++i) {
                *sample = whitened(*sample, coverage);
                ++sample;
            }
        }
    }
}

std::shared_ptr<const TextOverlay> TextOverlays::get(const TextPlacement& placement) {
    if (auto known = find(placement)) {
        return known;
    }
    auto overlay = std::make_shared<const TextOverlay>(placement); // slow: not under the lock
    const std::lock_guard lock(lock_);
    if (entries_.size() == kMaxEntries) {
        entries_.erase(entries_.begin());
    }
    entries_.push_back({placement, overlay});
    return overlay;
}

std::shared_ptr<const TextOverlay> TextOverlays::find(const TextPlacement& placement) {
    const std::lock_guard lock(lock_);
    const auto found = std::find_if(entries_.begin(), entries_.end(), [&](const Entry& entry) {
        return entry.placement == placement;
    });
    if (found == entries_.end()) {
        return nullptr;
    }
    std::rotate(found, found + 1, entries_.end());
    return entries_.back().overlay;
}

} // namespace ovelo
