#include "platform/GstPacing.h"

#include <gst/gst.h>

namespace ovelo {

bool needsPacing(GstPad* pad) {
    GstQuery* query = gst_query_new_latency();
    gboolean isLive = FALSE;
    if (gst_pad_peer_query(pad, query)) {
        gst_query_parse_latency(query, &isLive, nullptr, nullptr);
    }
    gst_query_unref(query);
    gboolean isSeekable = FALSE;
    query = gst_query_new_seeking(GST_FORMAT_TIME);
    if (gst_pad_peer_query(pad, query)) {
        gst_query_parse_seeking(query, nullptr, &isSeekable, nullptr, nullptr);
    }
    gst_query_unref(query);
    return !isLive && isSeekable;
}

} // namespace ovelo
