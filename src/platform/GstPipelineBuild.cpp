#include "platform/GstPipelineBuild.h"

#include "platform/Credentials.h"
#include "platform/GstCameraCaps.h"
#include "platform/GstHeld.h"
#include "platform/GstRuntime.h"
#include "platform/GstSoundTail.h"
#include "platform/GstStreamLinks.h"

#include <gst/gst.h>

#include <fmt/format.h>

#include <memory>
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

enum class Kind { WholePipeline, Part };

Result<Pipeline> parsed(const std::string& text, Kind kind = Kind::WholePipeline) {
    const bool isWhole = kind == Kind::WholePipeline;
    GError* error = nullptr;
    GstElement* parts =
        isWhole ? gst_parse_launch_full(text.c_str(), nullptr, GST_PARSE_FLAG_FATAL_ERRORS, &error)
                : gst_parse_bin_from_description_full(text.c_str(), FALSE, nullptr,
                                                      GST_PARSE_FLAG_FATAL_ERRORS, &error);
    if (error) {
        Failure failure{withoutCredentials(error->message)};
        g_error_free(error);
        if (parts) {
            gst_object_unref(parts);
        }
        return failure;
    }
    if (!parts || (isWhole && !GST_IS_PIPELINE(parts))) {
        if (parts) {
            gst_object_unref(parts);
        }
        return Failure{"The description makes no pipeline."};
    }
    gst_object_ref_sink(parts);
    return owned(parts);
}

bool isFactory(GstElement* element, std::string_view name) {
    const GstElementFactory* factory = gst_element_get_factory(element);
    return factory && name == GST_OBJECT_NAME(factory);
}

/// True for pictures themselves, and not for a container that is named like them.
bool arePictures(const GstStructure* format) {
    const std::string_view name = gst_structure_get_name(format);
    return name.starts_with("image/") ||
           (name.starts_with("video/") && gst_structure_has_field(format, "width") != FALSE);
}

/// Which streams of a source are decoded.
struct Wanted {
    bool pictures = true;
    bool sound = false;
};

gboolean selectStream(GstElement*, guint, GstCaps* caps, gpointer data) {
    const char* media = gst_structure_get_string(gst_caps_get_structure(caps, 0), "media");
    const Wanted& wanted = GstHeld<Wanted>::of(data);
    return !media || (wanted.pictures && std::string_view(media) == "video") ||
           (wanted.sound && std::string_view(media) == "audio");
}

/// Sets what makes elements inside the decoder fit for live media.
void tune(GstBin*, GstBin*, GstElement* element, gpointer data) {
    if (isFactory(element, "multipartdemux")) {
        // It never says that all its streams are there, and the decoder would wait for more.
        g_object_set(element, "single-stream", TRUE, nullptr);
    } else if (isFactory(element, "rtspsrc")) {
        g_object_set(element, "latency", kJitterMilliseconds, "drop-on-latency", TRUE, nullptr);
        g_signal_connect(element, "select-stream", G_CALLBACK(selectStream), data);
    } else if (isFactory(element, "souphttpsrc")) {
        g_object_set(element, "timeout", kHttpTimeoutSeconds, "retries", 0, nullptr);
    }
}

/// What nobody takes is not decoded.
gboolean goOnDecoding(GstElement*, GstPad*, GstCaps* caps, gpointer data) {
    const GstStructure* format = gst_caps_get_structure(caps, 0);
    const Wanted& wanted = GstHeld<Wanted>::of(data);
    if (g_str_has_prefix(gst_structure_get_name(format), "audio/")) {
        return wanted.sound;
    }
    return wanted.pictures || !arePictures(format);
}

/// The part of the pipeline that the origin's main stream goes to.
std::string tailFor(const GstOrigin& origin, const GstOutlets& outlets) {
    if (!outlets.pictures) {
        return gstSoundTail();
    }
    return std::string(origin.isNetwork() ? kNewestOnly : "") + kTail;
}

const char* frontFor(const GstOrigin& origin, const GstOutlets& outlets) {
    if (!outlets.pictures) {
        return kGstSoundHeadName;
    }
    return origin.isNetwork() ? kGstNewestName : kGstHeadName;
}

std::shared_ptr<GstStreamLinks> linksFor(const GstOrigin& origin, const GstOutlets& outlets,
                                         GstElement* pipeline) {
    // Lent by the pipeline, which is given up after its source.
    const GstPointer<GstElement> front(
        gst_bin_get_by_name(GST_BIN(pipeline), frontFor(origin, outlets)));
    const bool takesPictures = outlets.pictures != nullptr;
    return std::make_shared<GstStreamLinks>(
        GstStreamLinks::Ends{pipeline, front.get(), takesPictures,
                             takesPictures ? outlets.sound : nullptr, origin.isFile()});
}

/// Keeps the choice alive as long as the decoder is there.
gpointer choiceOf(GstElement* decoder, const GstOutlets& outlets) {
    using Held = GstHeld<Wanted>;
    gpointer choice = Held::hold(
        std::make_shared<Wanted>(Wanted{outlets.pictures != nullptr, outlets.sound != nullptr}));
    g_object_set_data_full(G_OBJECT(decoder), "ovelo-wanted", choice, Held::drop);
    return choice;
}

/// The decoder is made by hand, not from a text, so that no character of the URI needs quoting.
Result<Pipeline> uriPipeline(const GstOrigin& origin, const GstOutlets& outlets) {
    auto tail = parsed(tailFor(origin, outlets));
    if (!tail) {
        return tail;
    }
    GstElement* pipeline = tail.value().get();
    GstElement* decoder = gst_element_factory_make("uridecodebin", nullptr);
    if (!decoder) {
        return Failure{"GStreamer's element uridecodebin is not installed."};
    }
    gpointer choice = choiceOf(decoder, outlets);
    g_signal_connect(decoder, "deep-element-added", G_CALLBACK(tune), choice);
    g_signal_connect(decoder, "autoplug-continue", G_CALLBACK(goOnDecoding), choice);
    g_object_set(decoder, "uri", origin.source.c_str(), nullptr);
    gst_bin_add(GST_BIN(pipeline), decoder);
    GstStreamLinks::watch(decoder, linksFor(origin, outlets, pipeline));
    return tail;
}

/// Of a description that may have pictures and sound.
Result<Pipeline> muxedPipeline(const GstOrigin& origin, const GstOutlets& outlets) {
    auto tail = parsed(tailFor(origin, outlets));
    if (!tail) {
        return tail;
    }
    auto source = parsed(origin.source, Kind::Part);
    if (!source) {
        return source;
    }
    GstElement* pipeline = tail.value().get();
    gst_bin_add(GST_BIN(pipeline), source.value().get());
    GstStreamLinks::watchBin(source.value().get(), linksFor(origin, outlets, pipeline));
    return tail;
}

void setUpForFile(GstElement* pipeline, const GstOutlets& outlets) {
    const char* name = outlets.pictures ? kGstPicturesName : kGstSoundName;
    const GstPointer<GstElement> sink(gst_bin_get_by_name(GST_BIN(pipeline), name));
    g_object_set(sink.get(), "sync", TRUE, "async", TRUE, nullptr);
}

Result<Pipeline> cameraPipeline(GstDevice* device) {
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

/// Few wake-ups, and times that are those of our clock and not of the microphone's.
void setUpMicrophone(GstElement* microphone) {
    constexpr gint64 kPieceMicroseconds = 40'000;
    constexpr gint64 kReserveMicroseconds = 400'000;
    if (!g_object_class_find_property(G_OBJECT_GET_CLASS(microphone), "slave-method")) {
        return; // of a kind that stamps by itself
    }
    g_object_set(microphone, "provide-clock", FALSE, "latency-time", kPieceMicroseconds,
                 "buffer-time", kReserveMicroseconds, nullptr);
    gst_util_set_object_arg(G_OBJECT(microphone), "slave-method", "re-timestamp");
}

Result<Pipeline> microphonePipeline(GstDevice* device) {
    auto tail = parsed(gstSoundTail());
    if (!tail) {
        return tail;
    }
    GstElement* microphone = gst_device_create_element(device, nullptr);
    if (!microphone) {
        return Failure{"The microphone cannot be used."};
    }
    setUpMicrophone(microphone);
    GstElement* pipeline = tail.value().get();
    gst_bin_add(GST_BIN(pipeline), microphone);
    const GstPointer<GstElement> head(gst_bin_get_by_name(GST_BIN(pipeline), kGstSoundHeadName));
    if (gst_element_link(microphone, head.get()) == FALSE) {
        return Failure{"The microphone cannot be connected."};
    }
    return tail;
}

Result<Pipeline> unclockedPipeline(const GstOrigin& origin, const GstOutlets& outlets) {
    if (origin.isHardware()) {
        GstDevice* device = origin.hardware.get();
        return outlets.pictures ? cameraPipeline(device) : microphonePipeline(device);
    }
    if (origin.isDescription()) {
        return outlets.pictures && outlets.sound
                   ? muxedPipeline(origin, outlets)
                   : parsed(origin.source + " ! " + tailFor(origin, outlets));
    }
    auto pipeline = uriPipeline(origin, outlets);
    if (pipeline && origin.isFile()) {
        setUpForFile(pipeline.value().get(), outlets);
    }
    return pipeline;
}

} // namespace

Result<Pipeline> buildPipeline(const GstOrigin& origin, const GstOutlets& outlets) {
    GstRuntime::begin(); // the search for devices, which has begun it, may be at it still
    auto pipeline = unclockedPipeline(origin, outlets);
    if (pipeline) {
        // The clock that steady_clock reads, whatever the source would offer: so all media of all
        // devices can be put together by time.
        GstClock* clock = gst_system_clock_obtain();
        gst_pipeline_use_clock(GST_PIPELINE(pipeline.value().get()), clock);
        gst_object_unref(clock);
    }
    return pipeline;
}

} // namespace ovelo
