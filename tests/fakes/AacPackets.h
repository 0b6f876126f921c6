#pragma once

#include "platform/Data.h"
#include "platform/GstRuntime.h"

#include <gst/app/gstappsink.h>
#include <gst/app/gstappsrc.h>
#include <gst/gst.h>

#include <cstdint>
#include <span>
#include <stdexcept>
#include <vector>

namespace ovelo {

/// The packets that an encoder makes of samples of one channel, and two more at the end.
inline std::vector<Bytes> aacPackets(std::span<const std::int16_t> samples, int rate) {
    GstRuntime::begin();
    GstElement* pipeline = gst_parse_launch("appsrc name=in format=time ! voaacenc bitrate=16000"
                                            " ! audio/mpeg,mpegversion=4,stream-format=raw"
                                            " ! appsink name=out sync=false",
                                            nullptr);
    if (!pipeline) {
        throw std::runtime_error("no encoder");
    }
    GstElement* in = gst_bin_get_by_name(GST_BIN(pipeline), "in");
    GstElement* out = gst_bin_get_by_name(GST_BIN(pipeline), "out");
    GstCaps* caps = gst_caps_new_simple("audio/x-raw", "format", G_TYPE_STRING, "S16LE", "layout",
                                        G_TYPE_STRING, "interleaved", "rate", G_TYPE_INT, rate,
                                        "channels", G_TYPE_INT, 1, nullptr);
    gst_app_src_set_caps(GST_APP_SRC(in), caps);
    gst_caps_unref(caps);
    gst_element_set_state(pipeline, GST_STATE_PLAYING);
    gst_app_src_push_buffer(GST_APP_SRC(in),
                            gst_buffer_new_memdup(samples.data(), samples.size_bytes()));
    gst_app_src_end_of_stream(GST_APP_SRC(in));
    std::vector<Bytes> packets;
    while (GstSample* sample = gst_app_sink_pull_sample(GST_APP_SINK(out))) {
        GstMapInfo map;
        GstBuffer* buffer = gst_sample_get_buffer(sample);
        gst_buffer_map(buffer, &map, GST_MAP_READ);
        packets.emplace_back(map.data, map.data + map.size);
        gst_buffer_unmap(buffer, &map);
        gst_sample_unref(sample);
    }
    gst_element_set_state(pipeline, GST_STATE_NULL);
    gst_object_unref(in);
    gst_object_unref(out);
    gst_object_unref(pipeline);
    return packets;
}

} // namespace ovelo
