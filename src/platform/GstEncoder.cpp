#include "platform/GstEncoder.h"

#include <gst/app/gstappsink.h>
#include <gst/app/gstappsrc.h>
#include <gst/gst.h>
#include <gst/video/video.h>

#include <algorithm>
#include <utility>

namespace ovelo {

namespace {

constexpr const char* kSourceName = "in";
constexpr const char* kSinkName = "out";

GstAppSrc* asSource(GstElement* element) {
    return reinterpret_cast<GstAppSrc*>(element); // NOLINT(*-reinterpret-cast): the library's way
}

GstAppSink* asSink(GstElement* element) {
    return reinterpret_cast<GstAppSink*>(element); // NOLINT(*-reinterpret-cast): the library's way
}

void releaseFrame(gpointer frame) {
    const std::unique_ptr<VideoFrame> end(static_cast<VideoFrame*>(frame));
}

/// A buffer over the frame's own pixels.
GstBuffer* bufferOf(const VideoFrame& frame) {
    const gsize size = frame.bytesPerRow * static_cast<gsize>(frame.height);
    auto keeper = std::make_unique<VideoFrame>(frame);
    auto* pixels =
        const_cast<std::uint8_t*>(frame.pixels); // NOLINT(*-const-cast): read-only memory
    return gst_buffer_new_wrapped_full(GST_MEMORY_FLAG_READONLY, pixels, size, 0, size,
                                       keeper.release(), releaseFrame);
}

} // namespace

Result<std::unique_ptr<GstEncoder>> GstEncoder::make(const std::string& caps,
                                                     const std::string& chain) {
    const std::string text =
        std::string("appsrc name=in format=time max-bytes=0 max-buffers=0 block=false caps=") +
        caps + " ! " + chain +
        " ! appsink name=out sync=false async=false enable-last-sample=false";
    GError* error = nullptr;
    GstElement* pipeline =
        gst_parse_launch_full(text.c_str(), nullptr, GST_PARSE_FLAG_FATAL_ERRORS, &error);
    if (error) {
        Failure failure{error->message};
        g_error_free(error);
        if (pipeline) {
            gst_object_unref(pipeline);
        }
        return failure;
    }
    gst_object_ref_sink(pipeline);
    std::unique_ptr<GstEncoder> encoder(new GstEncoder(GstPointer<GstElement>(pipeline)));
    if (gst_element_set_state(pipeline, GST_STATE_PLAYING) == GST_STATE_CHANGE_FAILURE) {
        return encoder->failure().value_or(Failure{"The encoder does not start."});
    }
    return encoder;
}

GstEncoder::GstEncoder(GstPointer<GstElement> pipeline)
    : pipeline_(std::move(pipeline))
    , source_(gst_bin_get_by_name(GST_BIN(pipeline_.get()), kSourceName))
    , sink_(gst_bin_get_by_name(GST_BIN(pipeline_.get()), kSinkName)) {
}

GstEncoder::~GstEncoder() {
    gst_element_set_state(pipeline_.get(), GST_STATE_NULL);
}

void GstEncoder::push(const VideoFrame& frame, std::chrono::nanoseconds time, std::int64_t label,
                      bool wantKey) {
    if (wantKey) {
        GstEvent* event = gst_video_event_new_downstream_force_key_unit(
            GST_CLOCK_TIME_NONE, GST_CLOCK_TIME_NONE, GST_CLOCK_TIME_NONE, TRUE, 0);
        gst_element_send_event(source_.get(), event);
    }
    GstBuffer* buffer = bufferOf(frame);
    GST_BUFFER_PTS(buffer) = static_cast<GstClockTime>(time.count());
    labels_.push_back({label, time, true});
    gst_app_src_push_buffer(asSource(source_.get()), buffer);
}

void GstEncoder::push(std::span<const std::int16_t> samples, std::chrono::nanoseconds time,
                      std::int64_t label) {
    GstBuffer* buffer = gst_buffer_new_memdup(samples.data(), samples.size_bytes());
    GST_BUFFER_PTS(buffer) = static_cast<GstClockTime>(time.count());
    labels_.push_back({label, time, false});
    gst_app_src_push_buffer(asSource(source_.get()), buffer);
}

std::optional<EncodedPacket> GstEncoder::pull(std::chrono::nanoseconds patience) {
    const GstPointer<GstSample> sample(gst_app_sink_try_pull_sample(
        asSink(sink_.get()), static_cast<GstClockTime>(patience.count())));
    if (!sample || labels_.empty()) {
        return std::nullopt;
    }
    takeConfig(sample.get());
    GstBuffer* buffer = gst_sample_get_buffer(sample.get());
    EncodedPacket packet;
    packet.label = takeLabel(GST_BUFFER_PTS(buffer));
    packet.isKey = !GST_BUFFER_FLAG_IS_SET(buffer, GST_BUFFER_FLAG_DELTA_UNIT);
    packet.bytes.resize(gst_buffer_get_size(buffer));
    gst_buffer_extract(buffer, 0, packet.bytes.data(), packet.bytes.size());
    return packet;
}

/// The label of what came out: the next one, but for a picture that the encoder left out. Its stamp
/// tells, where the encoder keeps stamps; the one for MPEG-4 gives numbers of its own.
std::int64_t GstEncoder::takeLabel(std::uint64_t time) {
    const auto its = std::find_if(labels_.begin(), labels_.end(), [&](const Label& label) {
        return label.isPicture && static_cast<std::uint64_t>(label.time.count()) == time;
    });
    if (its != labels_.end()) {
        labels_.erase(labels_.begin(), its);
    }
    const std::int64_t value = labels_.front().value;
    labels_.pop_front();
    return value;
}

void GstEncoder::takeConfig(GstSample* sample) {
    if (!config_.empty()) {
        return;
    }
    const GstStructure* format = gst_caps_get_structure(gst_sample_get_caps(sample), 0);
    const GValue* value = gst_structure_get_value(format, "codec_data");
    if (value == nullptr) {
        return;
    }
    GstBuffer* buffer = gst_value_get_buffer(value);
    config_.resize(gst_buffer_get_size(buffer));
    gst_buffer_extract(buffer, 0, config_.data(), config_.size());
}

void GstEncoder::end() {
    gst_app_src_end_of_stream(asSource(source_.get()));
}

std::optional<Failure> GstEncoder::failure() const {
    const GstPointer<GstBus> bus(gst_element_get_bus(pipeline_.get()));
    GstMessage* message = gst_bus_pop_filtered(bus.get(), GST_MESSAGE_ERROR);
    if (message == nullptr) {
        return std::nullopt;
    }
    GError* error = nullptr;
    gst_message_parse_error(message, &error, nullptr);
    Failure failure{error->message};
    g_error_free(error);
    gst_message_unref(message);
    return failure;
}

} // namespace ovelo
