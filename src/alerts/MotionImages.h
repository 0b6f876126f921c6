#pragma once

#include "platform/IplImagePointer.h"

#include <cstdint>
#include <optional>

namespace ovelo {

/// The pictures of the motion detector: blurs each and counts where it differs from the one before.
///
/// thread  one at a time
class MotionImages final {
public:
    /// Takes the next picture, 8 bits a channel, blue, green, red.
    ///
    /// return  the fraction of changed pixels; nothing for the first picture, and for the first of
    ///         another size
    [[nodiscard]] std::optional<double> compare(IplImagePointer picture);

    /// Forgets all pictures: the next one is the first.
    void clear();

private:
    [[nodiscard]] bool continuesWith(const IplImage& picture) const;
    void beginWith(IplImagePointer picture);
    void blur();
    [[nodiscard]] IplImagePointer grayImage() const;
    [[nodiscard]] std::size_t changedPixels() const;

    IplImagePointer color_img_;
    IplImagePointer gray_img_;
    IplImagePointer prev_img_;
    IplImagePointer curr_img_;
    IplImagePointer difference_; // Kept: made with the others, never written or read.
    std::int32_t width_ = 0;
    std::int32_t height_ = 0;
};

} // namespace ovelo
