#include "platform/GstPicture.h"

#include <gst/gst.h>
#include <gst/video/video.h>

#include <cstdint>
#include <cstring>
#include <memory>
#include <utility>
#include <vector>

namespace ovelo {

namespace {

constexpr int kWidth = 320;
constexpr int kHeight = 240;
constexpr std::size_t kBytesPerRow = 1280;

/// A picture that stays mapped as long as somebody looks at it.
class MappedPicture {
public:
    explicit MappedPicture(GstPointer<GstSample> sample) : sample_(std::move(sample)) {
        GstVideoInfo info;
        gst_video_info_set_format(&info, GST_VIDEO_FORMAT_RGBA, kWidth, kHeight);
        GstBuffer* buffer = gst_sample_get_buffer(sample_.get());
        isMapped_ = gst_video_frame_map(&frame_, &info, buffer, GST_MAP_READ) != FALSE;
    }
    ~MappedPicture() {
        if (isMapped_) {
            gst_video_frame_unmap(&frame_);
        }
    }
    MappedPicture(const MappedPicture&) = delete;
    MappedPicture& operator=(const MappedPicture&) = delete;

    [[nodiscard]] bool isMapped() const { return isMapped_; }
    [[nodiscard]] const std::uint8_t* pixels() const {
        return static_cast<const std::uint8_t*>(GST_VIDEO_FRAME_PLANE_DATA(&frame_, 0));
    }
    [[nodiscard]] std::size_t bytesPerRow() const {
        return static_cast<std::size_t>(GST_VIDEO_FRAME_PLANE_STRIDE(&frame_, 0));
    }

private:
    GstPointer<GstSample> sample_;
    GstVideoFrame frame_{};
    bool isMapped_ = false;
};

/// True when the buffer comes from a pool of a few: somebody who keeps pictures would starve the
/// source.
bool isOneOfFew(GstSample* sample) {
    const GstBuffer* buffer = gst_sample_get_buffer(sample);
    if (!buffer || !buffer->pool) {
        return false;
    }
    GstStructure* configuration = gst_buffer_pool_get_config(buffer->pool);
    guint most = 0;
    gst_buffer_pool_config_get_params(configuration, nullptr, nullptr, nullptr, &most);
    gst_structure_free(configuration);
    return most != 0;
}

VideoFrame copyOf(const MappedPicture& picture) {
    auto copy = std::make_shared<std::vector<std::uint8_t>>(kBytesPerRow * kHeight);
    for (std::size_t row = 0; row < kHeight; ++row) {
        std::memcpy(copy->data() + row * kBytesPerRow,
                    picture.pixels() + row * picture.bytesPerRow(), kBytesPerRow);
    }
    const std::uint8_t* pixels = copy->data();
    return {kWidth, kHeight, kBytesPerRow, pixels, std::move(copy)};
}

} // namespace

std::optional<VideoFrame> frameOfPicture(GstPointer<GstSample> sample) {
    const bool mustCopy = isOneOfFew(sample.get());
    auto picture = std::make_shared<MappedPicture>(std::move(sample));
    if (!picture->isMapped()) {
        return std::nullopt;
    }
    if (mustCopy || picture->bytesPerRow() != kBytesPerRow) {
        return copyOf(*picture);
    }
    const std::uint8_t* pixels = picture->pixels();
    return VideoFrame{kWidth, kHeight, kBytesPerRow, pixels, std::move(picture)};
}

} // namespace ovelo
