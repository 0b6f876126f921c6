#include "platform/GstSoundDevice.h"

#include "platform/Credentials.h"

#include <gst/gst.h>

#include <filesystem>

namespace ovelo {

namespace {

Failure failureOf(GError* error) {
    Failure failure{error ? withoutCredentials(error->message) : "The source cannot be made."};
    g_clear_error(&error);
    return failure;
}

/// Makes what `create` makes and throws it away.
template <typename Create>
std::optional<Failure> tryOut(Create create) {
    GError* error = nullptr;
    GstElement* element = create(&error);
    if (!element || error) {
        auto failure = failureOf(error);
        if (element) {
            gst_object_unref(element);
        }
        return failure;
    }
    gst_object_ref_sink(element);
    gst_object_unref(element);
    return std::nullopt;
}

std::optional<Failure> findFile(const std::string& uri) {
    GError* error = nullptr;
    char* path = g_filename_from_uri(uri.c_str(), nullptr, &error);
    if (!path) {
        return failureOf(error);
    }
    std::error_code missing;
    const bool isThere = std::filesystem::is_regular_file(path, missing);
    g_free(path);
    return isThere ? std::nullopt : std::optional(Failure{"Resource not found."});
}

} // namespace

std::optional<Failure> GstSoundDevice::open() {
    const GstOrigin& origin = traits().origin;
    auto failure = tryOut([&](GError** error) {
        if (origin.isHardware()) {
            return gst_device_create_element(origin.hardware.get(), nullptr);
        }
        if (!origin.isDescription()) {
            return gst_element_make_from_uri(GST_URI_SRC, origin.source.c_str(), nullptr, error);
        }
        return gst_parse_launch_full(origin.source.c_str(), nullptr, GST_PARSE_FLAG_FATAL_ERRORS,
                                     error);
    });
    if (!failure && origin.isFile()) {
        failure = findFile(origin.source);
    }
    setOpen(!failure);
    return failure;
}

} // namespace ovelo
