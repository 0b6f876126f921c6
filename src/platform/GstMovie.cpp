#include "platform/GstMovie.h"

#include "platform/GstPicture.h"
#include "platform/GstPipelineBuild.h"

#include <gst/app/gstappsink.h>
#include <gst/gst.h>

#include <algorithm>
#include <utility>

namespace ovelo {

namespace {

using namespace std::chrono_literals;

constexpr auto kPatience = 5s;      // with one picture
constexpr auto kSlice = 20ms;       // until the next look at a stop token
constexpr Movie::Time kStride = 2s; // further ahead is jumped to

/// The sample's place in the movie; `otherwise` when it has none.
Movie::Time startOf(GstSample* sample, Movie::Time otherwise) {
    const GstBuffer* buffer = gst_sample_get_buffer(sample);
    if (!buffer || !GST_BUFFER_PTS_IS_VALID(buffer)) {
        return otherwise;
    }
    const guint64 start = gst_segment_to_stream_time(gst_sample_get_segment(sample),
                                                     GST_FORMAT_TIME, GST_BUFFER_PTS(buffer));
    return start == GST_CLOCK_TIME_NONE ? otherwise : Movie::Time(static_cast<std::int64_t>(start));
}

/// Empties the bus. return: true when a failure was on it
bool hasFailed(GstElement* pipeline) {
    const GstPointer<GstBus> bus(gst_element_get_bus(pipeline));
    bool failed = false;
    while (GstMessage* message = gst_bus_pop(bus.get())) {
        failed = failed || GST_MESSAGE_TYPE(message) == GST_MESSAGE_ERROR;
        gst_message_unref(message);
    }
    return failed;
}

} // namespace

GstMovie::GstMovie(std::shared_ptr<GstElement> pipeline, Time duration)
    : pipeline_(std::move(pipeline))
    , pictures_(gst_bin_get_by_name(GST_BIN(pipeline_.get()), kGstPicturesName))
    , duration_(duration) {
}

GstMovie::~GstMovie() {
    gst_element_set_state(pipeline_.get(), GST_STATE_NULL);
}

std::optional<VideoFrame> GstMovie::pictureAt(Time time, const std::stop_token& stop) {
    if (time < Time::zero() || time >= duration_) {
        return std::nullopt;
    }
    const Patience patience{std::chrono::steady_clock::now() + kPatience, stop};
    const bool isThere = isAhead(time) ? stepTo(time, patience) : goTo(time, patience);
    if (!isThere || !current_ || current_->start > time) {
        return std::nullopt;
    }
    return current_->frame;
}

/// True when going forward from here leads to the picture soon.
bool GstMovie::isAhead(Time time) const {
    const Time here = current_ ? current_->start : from_;
    const Time read = next_ ? next_->start : here;
    return time >= here && (ended_ || time < read + kStride);
}

bool GstMovie::goTo(Time time, const Patience& patience) {
    constexpr int kExactly = GST_SEEK_FLAG_ACCURATE;
    constexpr int kWholePicture = GST_SEEK_FLAG_KEY_UNIT | GST_SEEK_FLAG_SNAP_BEFORE;
    if (!seek(time, kExactly) || !stepTo(time, patience)) {
        return false;
    }
    // A decoder drops what it takes to be over by then, going by the usual distance of pictures;
    // that is wrong where they come unevenly, and behind the last one.
    return current_ || (seek(time, kWholePicture) && stepTo(time, patience));
}

bool GstMovie::seek(Time time, int flags) {
    current_.reset();
    next_.reset();
    ended_ = false;
    from_ = time;
    return gst_element_seek_simple(pipeline_.get(), GST_FORMAT_TIME,
                                   static_cast<GstSeekFlags>(GST_SEEK_FLAG_FLUSH | flags),
                                   time.count()) != FALSE;
}

/// Reads until the picture after the one of `time` is known.
bool GstMovie::stepTo(Time time, const Patience& patience) {
    while (!ended_ && (!next_ || next_->start <= time)) {
        if (!readNext(patience)) {
            return false;
        }
    }
    if (next_ && next_->start <= time) {
        current_ = std::exchange(next_, std::nullopt);
    }
    return true;
}

/// return  false when it was asked to stop, or the picture cannot be looked at
bool GstMovie::readNext(const Patience& patience) {
    auto sample = pull(patience);
    if (!sample) {
        // It is taken to be over when nothing has come for too long, or each picture behind the
        // damage would be waited for anew.
        ended_ = !patience.stop.stop_requested();
        return ended_;
    }
    const Time before = next_ ? next_->start : Time::zero();
    const Time start = startOf(sample.get(), before);
    auto frame = frameOfPicture(std::move(sample));
    if (!frame) {
        return false;
    }
    if (next_) {
        current_ = std::move(next_);
    }
    next_ = Picture{start, std::move(*frame)};
    return true;
}

/// return  null at the end, after a failure, and when patience is over
GstPointer<GstSample> GstMovie::pull(const Patience& patience) {
    auto* sink = GST_APP_SINK(pictures_.get());
    while (!patience.stop.stop_requested() &&
           std::chrono::steady_clock::now() < patience.deadline) {
        GstPointer<GstSample> sample(gst_app_sink_try_pull_sample(
            sink, static_cast<GstClockTime>(std::chrono::nanoseconds(kSlice).count())));
        if (sample || gst_app_sink_is_eos(sink) || hasFailed(pipeline_.get())) {
            return sample;
        }
    }
    return nullptr;
}

} // namespace ovelo
