#include "platform/GstSoundTail.h"

#include "platform/GstHeld.h"
#include "platform/GstPacing.h"

#include <gst/app/gstappsink.h>
#include <gst/audio/audio.h>
#include <gst/gst.h>

#include <fmt/format.h>

#include <chrono>
#include <utility>

namespace ovelo {

namespace {

using Delivery = GstHeld<GstSoundDelivery>;
using FormatTaker = std::function<void(const std::string&)>;

// Pictures do not wait for the sound that comes with them.
constexpr const char* kBranchFront =
    "queue name=ovelo-sound-queue max-size-buffers=0 max-size-bytes=0 max-size-time=2000000000 ! ";

/// When the sample's first sound was, or will be, heard: the pipeline's clock is the one that
/// steady_clock reads.
std::chrono::steady_clock::time_point timeOf(GstSample* sample, GstElement* sink) {
    const GstClockTime stamp = GST_BUFFER_PTS(gst_sample_get_buffer(sample));
    const guint64 running =
        gst_segment_to_running_time(gst_sample_get_segment(sample), GST_FORMAT_TIME, stamp);
    if (!GST_CLOCK_TIME_IS_VALID(stamp) || !GST_CLOCK_TIME_IS_VALID(running)) {
        return std::chrono::steady_clock::now();
    }
    const auto nanoseconds = gst_element_get_base_time(sink) + running;
    return std::chrono::steady_clock::time_point(
        std::chrono::nanoseconds(static_cast<std::int64_t>(nanoseconds)));
}

GstFlowReturn takeSample(GstAppSink* sink, gpointer data) {
    const GstPointer<GstSample> sample(gst_app_sink_pull_sample(sink));
    GstMapInfo map;
    if (!sample) {
        return GST_FLOW_EOS;
    }
    GstBuffer* buffer = gst_sample_get_buffer(sample.get());
    if (!buffer || gst_buffer_map(buffer, &map, GST_MAP_READ) == FALSE) {
        return GST_FLOW_OK;
    }
    Delivery::of(data).deliver(
        {reinterpret_cast<const std::int16_t*>(map.data), map.size / sizeof(std::int16_t)},
        timeOf(sample.get(), GST_ELEMENT(sink)));
    gst_buffer_unmap(buffer, &map);
    return GST_FLOW_OK;
}

GstPadProbeReturn decidePacing(GstPad* pad, GstPadProbeInfo*, gpointer sink) {
    if (needsPacing(pad)) {
        g_object_set(sink, "sync", TRUE, nullptr);
    }
    return GST_PAD_PROBE_REMOVE;
}

std::string formatText(const GstStructure* format) {
    int rate = 0;
    int channels = 0;
    gst_structure_get_int(format, "rate", &rate);
    gst_structure_get_int(format, "channels", &channels);
    return fmt::format("{} Hz, {}", rate,
                       channels == 1 ? "mono" : fmt::format("{} channels", channels));
}

GstPadProbeReturn seeFormat(GstPad*, GstPadProbeInfo* info, gpointer data) {
    GstEvent* event = gst_pad_probe_info_get_event(info);
    if (GST_EVENT_TYPE(event) == GST_EVENT_CAPS) {
        GstCaps* caps = nullptr;
        gst_event_parse_caps(event, &caps);
        GstHeld<FormatTaker>::of(data)(formatText(gst_caps_get_structure(caps, 0)));
    }
    return GST_PAD_PROBE_OK;
}

/// Adds a probe to the sink pad of the element of that name.
void probe(GstElement* holder, const char* name, GstPadProbeType type, GstPadProbeCallback callback,
           gpointer data, GDestroyNotify release) {
    const GstPointer<GstElement> element(gst_bin_get_by_name(GST_BIN(holder), name));
    GstPad* pad = gst_element_get_static_pad(element.get(), "sink");
    gst_pad_add_probe(pad, type, callback, data, release);
    gst_object_unref(pad);
}

} // namespace

std::string gstSoundTail() {
    return fmt::format("audioconvert name={} ! audioresample"
                       " ! audio/x-raw,format={},rate={},channels=1,layout=interleaved"
                       " ! appsink name={} sync=false async=false enable-last-sample=false"
                       " max-buffers=1",
                       kGstSoundHeadName, GST_AUDIO_NE(S16), kSoundRate, kGstSoundName);
}

void connectSoundTail(GstElement* holder, const std::shared_ptr<GstSoundDelivery>& delivery) {
    const GstPointer<GstElement> sink(gst_bin_get_by_name(GST_BIN(holder), kGstSoundName));
    GstAppSinkCallbacks callbacks{};
    callbacks.new_sample = takeSample;
    gst_app_sink_set_callbacks(GST_APP_SINK(sink.get()), &callbacks, Delivery::hold(delivery),
                               Delivery::drop);
    probe(holder, kGstSoundName, GST_PAD_PROBE_TYPE_BUFFER, decidePacing, sink.get(), nullptr);
}

void watchSoundFormat(GstElement* holder, std::function<void(const std::string&)> take) {
    using Held = GstHeld<FormatTaker>;
    probe(holder, kGstSoundHeadName, GST_PAD_PROBE_TYPE_EVENT_DOWNSTREAM, seeFormat,
          Held::hold(std::make_shared<FormatTaker>(std::move(take))), Held::drop);
}

GstElement* makeSoundBranch(const std::shared_ptr<GstSoundDelivery>& delivery, bool isPaced) {
    GstElement* branch =
        gst_parse_bin_from_description((kBranchFront + gstSoundTail()).c_str(), TRUE, nullptr);
    if (!branch) {
        return nullptr;
    }
    connectSoundTail(branch, delivery);
    // It plays at its time also while nobody hears it: a film whose sound is not waited for would be
    // read to its end at once, again and again.
    if (isPaced) {
        const GstPointer<GstElement> sink(gst_bin_get_by_name(GST_BIN(branch), kGstSoundName));
        g_object_set(sink.get(), "sync", TRUE, nullptr);
    }
    return branch;
}

} // namespace ovelo
