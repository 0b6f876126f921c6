#pragma once

#include "capture/Bitmap.h"

#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

namespace ovelo {

/// One text at one place of a picture.
struct TextPlacement {
    std::string text; // one byte for each character
    int width = 0;    // of the picture
    int height = 0;
    float x = 0; // where the base line begins, from the bottom left
    float y = 0;

    friend bool operator==(const TextPlacement&, const TextPlacement&) = default;
};

/// A text that is drawn once and laid over many pictures.
///
/// Letters are white all over, so that their coverage is all there is to keep.
///
/// thread  read-only, any
class TextOverlay final {
public:
    explicit TextOverlay(const TextPlacement& placement);

    /// Lays the text over a picture at least as large as the one it was made for.
    void drawOn(Bitmap& picture) const;

private:
    /// The part of one row from its first to its last pixel with something on it.
    struct Run {
        int y = 0;
        int x = 0;
        std::vector<std::uint8_t> coverage;
    };

    std::vector<Run> runs_;
};

/// The overlays used last.
///
/// thread  any
class TextOverlays final {
public:
    /// The overlay of a text; drawn anew when it is not among the last ones used.
    [[nodiscard]] std::shared_ptr<const TextOverlay> get(const TextPlacement& placement);

private:
    struct Entry {
        TextPlacement placement;
        std::shared_ptr<const TextOverlay> overlay;
    };

    [[nodiscard]] std::shared_ptr<const TextOverlay> find(const TextPlacement& placement);

    std::mutex lock_;            // a leaf
    std::vector<Entry> entries_; // the one used last at the end
};

} // namespace ovelo
