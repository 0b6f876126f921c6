#include "platform/GstCameraCaps.h"

#include <gst/gst.h>

#include <string_view>
#include <tuple>

namespace ovelo {

namespace {

constexpr int kWidth = 320;
constexpr int kHeight = 240;
constexpr int kFewPictures = 15; // a second: fewer look jerky
constexpr int kManyPictures = 30;

/// A format with its size and pace fixed near what we want.
GstStructure* fixed(const GstStructure* offered) {
    GstStructure* format = gst_structure_copy(offered);
    // Sizes that come as ranges are fixed at ours, lists at their nearest member.
    gst_structure_fixate_field_nearest_int(format, "width", kWidth);
    gst_structure_fixate_field_nearest_int(format, "height", kHeight);
    if (gst_structure_has_field(format, "framerate")) {
        gst_structure_fixate_field_nearest_fraction(format, "framerate", kManyPictures, 1);
    }
    gst_structure_fixate(format);
    return format;
}

int paceOf(const GstStructure* format) {
    int pictures = 0;
    int seconds = 1;
    if (!gst_structure_get_fraction(format, "framerate", &pictures, &seconds) || seconds == 0) {
        return kManyPictures; // unknown: assume the usual
    }
    return pictures / seconds;
}

/// What speaks against a format; the first difference decides.
using Penalty = std::tuple<bool, bool, bool, int, bool>;

Penalty penaltyOf(const GstStructure* format, bool isJpeg) {
    int width = 0;
    int height = 0;
    gst_structure_get_int(format, "width", &width);
    gst_structure_get_int(format, "height", &height);
    const bool isSmall = width < kWidth || height < kHeight;
    const bool isSlow = paceOf(format) < kFewPictures;
    const bool isFast = paceOf(format) > kManyPictures;
    const int pixels = width * height;
    return {isSlow, isSmall, isJpeg, isSmall ? -pixels : pixels, isFast};
}

bool isUsable(const GstCaps* caps, guint index, std::string_view name) {
    const GstCapsFeatures* features = gst_caps_get_features(caps, index);
    const bool isInSystemMemory =
        !features || gst_caps_features_is_equal(features, GST_CAPS_FEATURES_MEMORY_SYSTEM_MEMORY);
    return isInSystemMemory && (name == "video/x-raw" || name == "image/jpeg");
}

std::string textOf(const GstStructure* format) {
    char* text = gst_structure_to_string(format);
    std::string result(text);
    g_free(text);
    return result;
}

} // namespace

std::optional<CameraFormat> chooseCameraFormat(const GstCaps* offered) {
    std::optional<CameraFormat> best;
    Penalty least{};
    for (guint i = 0; offered && i < gst_caps_get_size(offered); ++i) {
        const GstStructure* structure = gst_caps_get_structure(offered, i);
        const std::string_view name = gst_structure_get_name(structure);
        if (!isUsable(offered, i, name)) {
            continue;
        }
        const bool isJpeg = name == "image/jpeg";
        GstStructure* format = fixed(structure);
        const Penalty penalty = penaltyOf(format, isJpeg);
        if (!best || penalty < least) {
            best = CameraFormat{isJpeg, textOf(format)};
            least = penalty;
        }
        gst_structure_free(format);
    }
    return best;
}

} // namespace ovelo
