#include "platform/GstPipelineBuild.h"

#include "platform/Credentials.h"
#include "platform/GstCameraCaps.h"

#include <gst/gst.h>

#include <fmt/format.h>

#include <string>
#include <string_view>
#include <utility>

namespace ovelo {

namespace {

using Pipeline = std::shared_ptr<GstElement>;

// Scaling before converting is twice as fast as doing both in one element: it works on the source's
// own planes.
constexpr const char* kTail =
    "videoscale name=ovelo-head add-borders=false n-threads=1"
    " ! videoconvert n-threads=1"
    " ! video/x-raw,format=RGBA,width=320,height=240,pixel-aspect-ratio=1/1"
    " ! appsink name=ovelo-pictures sync=false async=false enable-last-sample=false qos=false"
    " max-buffers=1 drop=true";

// Behind a network source: whoever is slow misses pictures rather than see old ones.
constexpr const char* kNewestOnly = "queue name=ovelo-newest leaky=downstream max-size-buffers=1 "
                                    "max-size-bytes=0 max-size-time=0 ! ";

constexpr guint kJitterMilliseconds = 200;
constexpr guint kHttpTimeoutSeconds = 10;

Pipeline owned(GstElement* pipeline) {
    return {pipeline, GstRelease{}};
}

Result<Pipeline> parsed(const std::string& text) {
    GError* error = nullptr;
    GstElement* pipeline =
        gst_parse_launch_full(text.c_str(), nullptr, GST_PARSE_FLAG_FATAL_ERRORS, &error);
    if (error) {
        Failure failure{withoutCredentials(error->message)};
        g_error_free(error);
        if (pipeline) {
            gst_object_unref(pipeline);
        }
        return failure;
    }
    if (!pipeline || !GST_IS_PIPELINE(pipeline)) {
        if (pipeline) {
            gst_object_unref(pipeline);
        }
        return Failure{"The description makes no pipeline."};
    }
    gst_object_ref_sink(pipeline);
    return owned(pipeline);
}

bool isFactory(GstElement* element, std::string_view name) {
    const GstElementFactory* factory = gst_element_get_factory(element);
    return factory && name == GST_OBJECT_NAME(factory);
}

gboolean selectVideoStream(GstElement*, guint, GstCaps* caps, gpointer) {
    const char* media = gst_structure_get_string(gst_caps_get_structure(caps, 0), "media");
    return !media || std::string_view(media) == "video";
}

/// Sets what makes elements inside the decoder fit for live pictures.
void tune(GstBin*, GstBin*, GstElement* element, gpointer) {
    if (isFactory(element, "multipartdemux")) {
        // It never says that all its streams are there, and the decoder would wait for more.
        g_object_set(element, "single-stream", TRUE, nullptr);
    } else if (isFactory(element, "rtspsrc")) {
        g_object_set(element, "latency", kJitterMilliseconds, "drop-on-latency", TRUE, nullptr);
        g_signal_connect(element, "select-stream", G_CALLBACK(selectVideoStream), nullptr);
    } else if (isFactory(element, "souphttpsrc")) {
        g_object_set(element, "timeout", kHttpTimeoutSeconds, "retries", 0, nullptr);
    }
}

/// Sound is not decoded: nobody takes it from this pipeline.
gboolean goOnDecoding(GstElement*, GstPad*, GstCaps* caps, gpointer) {
    return !g_str_has_prefix(gst_structure_get_name(gst_caps_get_structure(caps, 0)), "audio/");
}

/// Links the decoder's first video to the `front` of the tail.
void linkVideo(GstElement*, GstPad* pad, gpointer front) {
    GstCaps* caps = gst_pad_query_caps(pad, nullptr);
    const bool isVideo =
        !gst_caps_is_empty(caps) && !gst_caps_is_any(caps) &&
        g_str_has_prefix(gst_structure_get_name(gst_caps_get_structure(caps, 0)), "video/x-raw");
    gst_caps_unref(caps);
    GstPad* sink = gst_element_get_static_pad(static_cast<GstElement*>(front), "sink");
    if (isVideo && !gst_pad_is_linked(sink)) {
        gst_pad_link(pad, sink);
    }
    gst_object_unref(sink);
}

// NOLINTNEXTLINE(readability-function-size, readability-function-cognitive-complexity): one macro of the library
void complainWithoutVideo(GstElement* decoder, gpointer front) {
    GstPad* sink = gst_element_get_static_pad(static_cast<GstElement*>(front), "sink");
    if (!gst_pad_is_linked(sink)) {
        GST_ELEMENT_ERROR(decoder, STREAM, WRONG_TYPE, ("There are no pictures in it."), (nullptr));
    }
    gst_object_unref(sink);
}

/// The decoder is made by hand, not from a text, so that no character of the URI needs quoting.
Result<Pipeline> uriPipeline(const GstOrigin& origin) {
    auto tail = parsed(std::string(origin.isNetwork() ? kNewestOnly : "") + kTail);
    if (!tail) {
        return tail;
    }
    GstElement* pipeline = tail.value().get();
    GstElement* decoder = gst_element_factory_make("uridecodebin", nullptr);
    if (!decoder) {
        return Failure{"GStreamer's element uridecodebin is not installed."};
    }
    const GstPointer<GstElement> front(
        gst_bin_get_by_name(GST_BIN(pipeline), origin.isNetwork() ? kGstNewestName : kGstHeadName));
    g_signal_connect(decoder, "deep-element-added", G_CALLBACK(tune), nullptr);
    g_signal_connect(decoder, "autoplug-continue", G_CALLBACK(goOnDecoding), nullptr);
    g_signal_connect(decoder, "pad-added", G_CALLBACK(linkVideo), front.get());
    g_signal_connect(decoder, "no-more-pads", G_CALLBACK(complainWithoutVideo), front.get());
    g_object_set(decoder, "uri", origin.source.c_str(), nullptr);
    gst_bin_add(GST_BIN(pipeline), decoder);
    return tail;
}

void setUpForFile(GstElement* pipeline) {
    const GstPointer<GstElement> sink(gst_bin_get_by_name(GST_BIN(pipeline), kGstPicturesName));
    g_object_set(sink.get(), "sync", TRUE, "async", TRUE, nullptr);
}

Result<Pipeline> hardwarePipeline(GstDevice* device) {
    GstCaps* caps = gst_device_get_caps(device);
    const auto format = chooseCameraFormat(caps);
    if (caps) {
        gst_caps_unref(caps);
    }
    if (!format) {
        return Failure{"The camera offers no picture format that can be used."};
    }
    auto tail = parsed(fmt::format("capsfilter name=ovelo-format {} ! {}",
                                   format->isJpeg ? "! jpegdec" : "", kTail));
    if (!tail) {
        return tail;
    }
    GstElement* camera = gst_device_create_element(device, nullptr);
    if (!camera) {
        return Failure{"The camera cannot be used."};
    }
    GstElement* pipeline = tail.value().get();
    gst_bin_add(GST_BIN(pipeline), camera);
    const GstPointer<GstElement> filter(gst_bin_get_by_name(GST_BIN(pipeline), "ovelo-format"));
    GstCaps* wanted = gst_caps_from_string(format->caps.c_str());
    g_object_set(filter.get(), "caps", wanted, nullptr);
    gst_caps_unref(wanted);
    if (gst_element_link(camera, filter.get()) == FALSE) {
        return Failure{"The camera cannot be connected."};
    }
    return tail;
}

} // namespace

Result<Pipeline> buildVideoPipeline(const GstOrigin& origin) {
    if (origin.isHardware()) {
        return hardwarePipeline(origin.hardware.get());
    }
    if (origin.isDescription()) {
        return parsed(origin.source + " ! " + kTail);
    }
    auto pipeline = uriPipeline(origin);
    if (pipeline && origin.isFile()) {
        setUpForFile(pipeline.value().get());
    }
    return pipeline;
}

} // namespace ovelo
