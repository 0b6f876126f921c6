#pragma once

#include "capture/Bitmap.h"
#include "platform/VideoFrame.h"

namespace ovelo {

/// Turns a picture by a quarter, shrunk so that its long side fits the height.
///
/// Shrinks the rows, transposes, shrinks the columns: each step runs along memory.
class QuarterTurn final {
public:
    struct Way {
        bool clockwise = false;
        bool mirrorX = false; // of the turned picture
        bool mirrorY = false;
    };

    explicit QuarterTurn(Way way) : way_(way) {}

    /// True for sizes whose turned picture has its edges between pixels.
    static bool canTurn(int width, int height) {
        return width >= height && 1LL * height * height % width == 0;
    }

    /// The turned picture on black, of the same size. canTurn() holds.
    [[nodiscard]] Bitmap turned(const VideoFrame& picture) const;

private:
    Way way_;
};

} // namespace ovelo
