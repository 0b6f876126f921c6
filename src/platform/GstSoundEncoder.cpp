#include "platform/GstSoundEncoder.h"

#include "platform/FirstThatWorks.h"
#include "platform/GstAacEncoders.h"
#include "platform/GstRuntime.h"
#include "platform/SoundBlock.h"

#include <gst/audio/audio.h>
#include <gst/gst.h>

#include <fmt/format.h>

#include <cstring>
#include <utility>
#include <vector>

namespace ovelo {

namespace {

constexpr int kAacBitsPerSecond = 16000; // as much as a slow mobile link has for sound

std::string resampledTo(double rate) {
    return fmt::format("audioresample ! capsfilter caps=audio/x-raw,format={},rate={},channels=1",
                       GST_AUDIO_NE(S16), static_cast<int>(rate));
}

bool isInstalled(const char* element) {
    GstElementFactory* factory = gst_element_factory_find(element);
    if (factory) {
        gst_object_unref(factory);
    }
    return factory != nullptr;
}

gboolean takeEvent(GstPad*, GstObject*, GstEvent* event) {
    gst_event_unref(event);
    return TRUE;
}

} // namespace

bool SoundEncoder::isKnown(const AudioStreamDescription& format) {
    const bool isAac = format.mFormatID == kAudioFormatAac;
    const bool isPcm = format.mFormatID == kAudioFormatPcm &&
                       format.mFormatFlags == kAudioPcmFlags && format.mBitsPerChannel == 16;
    return (isAac || isPcm) && format.mChannelsPerFrame == 1 && format.mSampleRate >= 4000 &&
           format.mSampleRate <= kSoundRate;
}

Result<std::unique_ptr<SoundEncoder>> SoundEncoder::create(const AudioStreamDescription& format) {
    GstRuntime::begin();
    if (!isInstalled("audioconvert") || !isInstalled("audioresample")) {
        return Failure{"Sound cannot be encoded: install the package gstreamer1.0-plugins-base."};
    }
    if (format.mFormatID == kAudioFormatPcm) {
        return GstSoundEncoder::build(resampledTo(format.mSampleRate), true);
    }
    return firstThatWorks<std::unique_ptr<SoundEncoder>>(
        aacencoders::kCandidates, aacencoders::kAdvice,
        [&](const aacencoders::Candidate& candidate) {
            return GstSoundEncoder::build(resampledTo(format.mSampleRate) + " ! " +
                                              aacencoders::chain(candidate, kAacBitsPerSecond),
                                          false);
        });
}

struct GstSoundEncoder::Output {
    const bool isPcm;
    const PacketTaker* take = nullptr; // while encode() runs
    std::vector<std::uint8_t> swapped;

    void give(std::span<const std::uint8_t> bytes) {
        if (!take) {
            return;
        }
        if (!isPcm) {
            (*take)(bytes);
            return;
        }
        swapped.resize(bytes.size() / 2 * 2);
        for (std::size_t i = 0; i < swapped.size(); i += 2) {
            std::uint16_t sample = 0;
            std::memcpy(&sample, bytes.data() + i, sizeof sample);
            swapped[i] = static_cast<std::uint8_t>(sample >> 8);
            swapped[i + 1] = static_cast<std::uint8_t>(sample & 0xff);
        }
        (*take)(swapped);
    }

    static GstFlowReturn chain(GstPad* pad, GstObject*, GstBuffer* buffer) {
        GstMapInfo map;
        if (gst_buffer_map(buffer, &map, GST_MAP_READ)) {
            static_cast<Output*>(gst_pad_get_element_private(pad))->give({map.data, map.size});
            gst_buffer_unmap(buffer, &map);
        }
        gst_buffer_unref(buffer);
        return GST_FLOW_OK;
    }
};

void GstSoundEncoder::PadRelease::operator()(GstPad* pad) const noexcept {
    gst_object_unref(pad);
}

Result<std::unique_ptr<SoundEncoder>> GstSoundEncoder::build(const std::string& chain, bool isPcm) {
    GError* error = nullptr;
    GstElement* bin = gst_parse_bin_from_description_full(chain.c_str(), TRUE, nullptr,
                                                          GST_PARSE_FLAG_FATAL_ERRORS, &error);
    if (!bin) {
        Failure failure{error ? error->message : "The encoder cannot be made."};
        g_clear_error(&error);
        return failure;
    }
    g_clear_error(&error);
    gst_object_ref_sink(bin);
    std::unique_ptr<GstSoundEncoder> encoder(
        new GstSoundEncoder(GstPointer<GstElement>(bin), isPcm));
    if (!encoder->connect()) {
        return Failure{"The encoder cannot be started."};
    }
    return std::unique_ptr<SoundEncoder>(std::move(encoder));
}

GstSoundEncoder::GstSoundEncoder(GstPointer<GstElement> chain, bool isPcm)
    : chain_(std::move(chain))
    , output_(new Output{isPcm, nullptr, {}})
    , feed_(GST_PAD(gst_object_ref_sink(gst_pad_new("feed", GST_PAD_SRC))))
    , drain_(GST_PAD(gst_object_ref_sink(gst_pad_new("drain", GST_PAD_SINK)))) {
}

GstSoundEncoder::~GstSoundEncoder() {
    gst_pad_set_active(feed_.get(), FALSE);
    gst_element_set_state(chain_.get(), GST_STATE_NULL);
    gst_pad_set_active(drain_.get(), FALSE);
}

bool GstSoundEncoder::connect() {
    gst_pad_set_element_private(drain_.get(), output_.get());
    gst_pad_set_chain_function(drain_.get(), Output::chain);
    gst_pad_set_event_function(drain_.get(), takeEvent);
    GstPad* sink = gst_element_get_static_pad(chain_.get(), "sink");
    GstPad* source = gst_element_get_static_pad(chain_.get(), "src");
    const bool isLinked = sink && source && gst_pad_link(feed_.get(), sink) == GST_PAD_LINK_OK &&
                          gst_pad_link(source, drain_.get()) == GST_PAD_LINK_OK;
    gst_clear_object(&sink);
    gst_clear_object(&source);
    if (!isLinked) {
        return false;
    }
    gst_pad_set_active(drain_.get(), TRUE);
    gst_pad_set_active(feed_.get(), TRUE);
    if (gst_element_set_state(chain_.get(), GST_STATE_PLAYING) == GST_STATE_CHANGE_FAILURE) {
        return false;
    }
    gst_pad_push_event(feed_.get(), gst_event_new_stream_start("sound"));
    GstCaps* caps = gst_caps_new_simple("audio/x-raw", "format", G_TYPE_STRING, GST_AUDIO_NE(S16),
                                        "layout", G_TYPE_STRING, "interleaved", "rate", G_TYPE_INT,
                                        kSoundRate, "channels", G_TYPE_INT, 1, nullptr);
    const bool isTaken = gst_pad_push_event(feed_.get(), gst_event_new_caps(caps)) != FALSE;
    gst_caps_unref(caps);
    GstSegment segment;
    gst_segment_init(&segment, GST_FORMAT_TIME);
    gst_pad_push_event(feed_.get(), gst_event_new_segment(&segment));
    return isTaken;
}

bool GstSoundEncoder::encode(std::span<const std::int16_t> samples, const PacketTaker& take) {
    const auto timeOf = [](std::uint64_t position) {
        return gst_util_uint64_scale_int(position, GST_SECOND, kSoundRate);
    };
    GstBuffer* buffer = gst_buffer_new_memdup(samples.data(), samples.size_bytes());
    GST_BUFFER_PTS(buffer) = timeOf(samples_);
    samples_ += samples.size();
    GST_BUFFER_DURATION(buffer) = timeOf(samples_) - GST_BUFFER_PTS(buffer);
    output_->take = &take;
    const auto outcome = gst_pad_push(feed_.get(), buffer);
    output_->take = nullptr;
    return outcome == GST_FLOW_OK;
}

} // namespace ovelo
