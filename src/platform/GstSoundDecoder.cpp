#include "platform/GstRuntime.h"
#include "platform/GstTypes.h"
#include "platform/SoundDecoder.h"

#include <gst/app/gstappsink.h>
#include <gst/gst.h>

#include <cstring>

namespace ovelo {

namespace {

constexpr int kMostRefused = 4;

/// Decodes in the caller's own thread: packets are handed to the decoder's pad, and what it makes of
/// them is there when that returns.
class GstSoundDecoder final : public SoundDecoder {
public:
    GstSoundDecoder(int rate, int channels) : rate_(rate), channels_(channels) { build(); }
    ~GstSoundDecoder() override { tearDown(); }
    GstSoundDecoder(const GstSoundDecoder&) = delete;
    GstSoundDecoder& operator=(const GstSoundDecoder&) = delete;

    [[nodiscard]] bool isBuilt() const { return pipeline_ != nullptr; }

    [[nodiscard]] std::vector<std::int16_t> decode(std::span<const std::uint8_t> packet) override {
        std::vector<std::int16_t> samples;
        if (isBuilt() && !packet.empty()) {
            take(packet);
        }
        pull(samples);
        samples.resize(kPacketSamples);
        return samples;
    }

private:
    void build();
    void tearDown();
    void take(std::span<const std::uint8_t> packet);
    bool push(std::span<const std::uint8_t> packet);
    void pull(std::vector<std::int16_t>& samples);
    [[nodiscard]] bool begin();

    const int rate_;
    const int channels_;
    GstPointer<GstElement> pipeline_;
    GstPad* input_ = nullptr; // of the pipeline's first element
    GstPointer<GstElement> output_;
    GstClockTime time_ = 0; // of the next packet
    int refused_ = 0;       // packets in a row, each by a decoder that was made anew
};

void GstSoundDecoder::take(std::span<const std::uint8_t> packet) {
    if (push(packet)) {
        refused_ = 0;
        return;
    }
    tearDown(); // after an error it takes nothing more
    if (++refused_ < kMostRefused) {
        build();
    } // else a further one would not do better
}

void GstSoundDecoder::build() {
    GstPointer<GstElement> pipeline(gst_parse_launch_full(
        "avdec_aac name=decoder ! audioconvert name=converter ! audioresample"
        " ! capsfilter name=format ! appsink name=samples sync=false async=false"
        " enable-last-sample=false",
        nullptr, GST_PARSE_FLAG_FATAL_ERRORS, nullptr));
    if (!pipeline) {
        return;
    }
    gst_object_ref_sink(pipeline.get());
    const GstPointer<GstElement> format(gst_bin_get_by_name(GST_BIN(pipeline.get()), "format"));
    GstCaps* caps = gst_caps_new_simple("audio/x-raw", "format", G_TYPE_STRING, "S16LE", "rate",
                                        G_TYPE_INT, rate_, "channels", G_TYPE_INT, 1, nullptr);
    g_object_set(format.get(), "caps", caps, nullptr);
    gst_caps_unref(caps);
    output_.reset(gst_bin_get_by_name(GST_BIN(pipeline.get()), "samples"));
    const GstPointer<GstElement> decoder(gst_bin_get_by_name(GST_BIN(pipeline.get()), "decoder"));
    input_ = gst_element_get_static_pad(decoder.get(), "sink");
    pipeline_ = std::move(pipeline);
    if (gst_element_set_state(pipeline_.get(), GST_STATE_PLAYING) == GST_STATE_CHANGE_FAILURE ||
        !begin()) {
        tearDown();
    }
}

/// What comes before the first packet.
///
/// return  false when the decoder does not take the format
bool GstSoundDecoder::begin() {
    const auto configuration = aacConfiguration(rate_, channels_);
    GstBuffer* codecData =
        gst_buffer_new_memdup(configuration.data(), static_cast<gsize>(configuration.size()));
    GstCaps* caps = gst_caps_new_simple(
        "audio/mpeg", "mpegversion", G_TYPE_INT, 4, "stream-format", G_TYPE_STRING, "raw", "framed",
        G_TYPE_BOOLEAN, TRUE, "rate", G_TYPE_INT, rate_, "channels", G_TYPE_INT, channels_,
        "codec_data", GST_TYPE_BUFFER, codecData, nullptr);
    gst_buffer_unref(codecData);
    GstSegment segment;
    gst_segment_init(&segment, GST_FORMAT_TIME);
    gst_pad_send_event(input_, gst_event_new_stream_start("packets"));
    const bool accepted = gst_pad_send_event(input_, gst_event_new_caps(caps)) != FALSE;
    gst_caps_unref(caps);
    return accepted && gst_pad_send_event(input_, gst_event_new_segment(&segment)) != FALSE;
}

void GstSoundDecoder::tearDown() {
    if (pipeline_) {
        gst_element_set_state(pipeline_.get(), GST_STATE_NULL);
        gst_object_unref(input_);
        output_.reset();
        pipeline_.reset();
    }
}

bool GstSoundDecoder::push(std::span<const std::uint8_t> packet) {
    GstBuffer* buffer = gst_buffer_new_memdup(packet.data(), packet.size());
    const GstClockTime length =
        gst_util_uint64_scale_int(kPacketSamples, static_cast<gint>(GST_SECOND), rate_);
    GST_BUFFER_PTS(buffer) = time_;
    GST_BUFFER_DURATION(buffer) = length;
    time_ += length;
    return gst_pad_chain(input_, buffer) == GST_FLOW_OK;
}

void GstSoundDecoder::pull(std::vector<std::int16_t>& samples) {
    while (isBuilt()) {
        const GstPointer<GstSample> sample(
            gst_app_sink_try_pull_sample(GST_APP_SINK(output_.get()), 0));
        if (!sample) {
            return;
        }
        GstMapInfo map;
        GstBuffer* buffer = gst_sample_get_buffer(sample.get());
        if (buffer && gst_buffer_map(buffer, &map, GST_MAP_READ)) {
            const std::size_t count = map.size / sizeof(std::int16_t);
            const std::size_t before = samples.size();
            samples.resize(before + count);
            std::memcpy(samples.data() + before, map.data, count * sizeof(std::int16_t));
            gst_buffer_unmap(buffer, &map);
        }
    }
}

} // namespace

std::unique_ptr<SoundDecoder> SoundDecoder::createAac(int rate, int channels) {
    GstRuntime::begin();
    auto decoder = std::make_unique<GstSoundDecoder>(rate, channels);
    return decoder->isBuilt() ? std::move(decoder) : nullptr;
}

} // namespace ovelo
