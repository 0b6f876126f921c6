#include "alerts/MotionImages.h"

#include <opencv2/imgproc/imgproc_c.h>

#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <utility>

namespace ovelo {

namespace {

// OpenCV makes one pass with a square of 37 or 21 pixels of each, row by row and then column by column.
constexpr int kDilations = 18;
constexpr int kErosions = 10;
constexpr int kChangedBy = 26;

} // namespace

std::optional<double> MotionImages::compare(IplImagePointer picture) {
    if (!continuesWith(*picture)) {
        beginWith(std::move(picture));
        return std::nullopt;
    }
    color_img_ = std::move(picture);
    blur();
    cvCopy(curr_img_.get(), prev_img_.get());
    cvCopy(gray_img_.get(), curr_img_.get());
    return static_cast<double>(changedPixels()) /
           (static_cast<double>(width_) * static_cast<double>(height_));
}

void MotionImages::clear() {
    for (auto* image : {&color_img_, &gray_img_, &prev_img_, &curr_img_, &difference_}) {
        image->reset();
    }
}

bool MotionImages::continuesWith(const IplImage& picture) const {
    return color_img_ && picture.width == width_ && picture.height == height_;
}

void MotionImages::beginWith(IplImagePointer picture) {
    width_ = picture->width;
    height_ = picture->height;
    color_img_ = std::move(picture);
    for (auto* image : {&gray_img_, &prev_img_, &curr_img_, &difference_}) {
        *image = grayImage();
    }
    blur();
    cvCopy(gray_img_.get(), curr_img_.get());
}

IplImagePointer MotionImages::grayImage() const {
    IplImagePointer image(cvCreateImage(cvSize(width_, height_), IPL_DEPTH_8U, 1));
    // Rows may be longer than they are wide; what is behind them is compared like pixels.
    std::memset(image->imageData, 0, static_cast<std::size_t>(image->imageSize));
    image->origin = color_img_->origin;
    return image;
}

void MotionImages::blur() {
    cvCvtColor(color_img_.get(), gray_img_.get(), CV_BGR2GRAY);
    cvDilate(gray_img_.get(), gray_img_.get(), nullptr, kDilations);
    cvErode(gray_img_.get(), gray_img_.get(), nullptr, kErosions);
}

std::size_t MotionImages::changedPixels() const {
    // Kept: grey levels are read as signed bytes, so that two on opposite sides of 128 differ much
    // (120 and 140), and two at the far ends little (10 and 250). What the thresholds mean rests on it.
    const auto* before = reinterpret_cast<const std::int8_t*>(prev_img_->imageData);
    const auto* now = reinterpret_cast<const std::int8_t*>(curr_img_->imageData);
    const auto pixels = static_cast<std::size_t>(width_) * static_cast<std::size_t>(height_);
    std::size_t changed = 0;
    for (std::size_t at = 0; at < pixels; ++at) {
        changed += std::abs(before[at] - now[at]) >= kChangedBy ? 1 : 0;
    }
    return changed;
}

} // namespace ovelo
