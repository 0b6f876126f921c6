#include "platform/GstVideoPipeline.h"

#include "platform/Credentials.h"
#include "platform/GstHeld.h"
#include "platform/GstPacing.h"
#include "platform/GstPipelineBuild.h"
#include "platform/GstSoundTail.h"

#include <gst/app/gstappsink.h>
#include <gst/gst.h>

#include <fmt/format.h>

#include <algorithm>
#include <condition_variable>
#include <deque>
#include <mutex>
#include <utility>

namespace ovelo {

/// The events that wait for nextEvent(). A leaf: nothing else is locked while its lock is held.
struct GstVideoPipeline::Shared {
    GstOutlets outlets;
    std::mutex lock;
    std::condition_variable_any changed;
    std::deque<PipelineEvent> events;

    void add(PipelineEvent event) {
        {
            const std::lock_guard guard(lock);
            events.push_back(std::move(event));
        }
        changed.notify_all();
    }
};

namespace {

constexpr GstClockTime kFirstPicturePatience = 2 * GST_SECOND;
constexpr auto kReasonPatience = std::chrono::milliseconds(200);
constexpr const char* kNoReason = "The source cannot be started.";

std::string errorText(GstMessage* message) {
    GError* error = nullptr;
    gst_message_parse_error(message, &error, nullptr);
    std::string text = error ? withoutCredentials(error->message) : "unknown error";
    g_clear_error(&error);
    return text;
}

std::optional<PipelineEvent> eventOf(GstMessage* message) {
    switch (GST_MESSAGE_TYPE(message)) {
    case GST_MESSAGE_ERROR:
        return PipelineEvent{PipelineEvent::Kind::Failed, errorText(message)};
    case GST_MESSAGE_EOS:
        return PipelineEvent{PipelineEvent::Kind::Ended, "The source has ended."};
    case GST_MESSAGE_SEGMENT_DONE:
        return PipelineEvent{PipelineEvent::Kind::Lap, {}};
    default:
        return std::nullopt;
    }
}

/// Makes the sink wait for each picture's time, and its source for the sink: a queue that drops
/// what is not taken would let it run to its end at once.
void pace(GstElement* sink) {
    g_object_set(sink, "sync", TRUE, nullptr);
    GstObject* pipeline = gst_object_get_parent(GST_OBJECT(sink));
    if (GstElement* newest = gst_bin_get_by_name(GST_BIN(pipeline), kGstNewestName)) {
        gst_util_set_object_arg(G_OBJECT(newest), "leaky", "no");
        gst_object_unref(newest);
    }
    gst_object_unref(pipeline);
}

/// The first picture is on its way: all elements are connected and can be asked.
GstPadProbeReturn decidePacing(GstPad* pad, GstPadProbeInfo*, gpointer sink) {
    if (needsPacing(pad)) {
        pace(static_cast<GstElement*>(sink));
    }
    return GST_PAD_PROBE_REMOVE;
}

std::string formatText(const GstStructure* format) {
    int width = 0;
    int height = 0;
    int pictures = 0;
    int seconds = 0;
    gst_structure_get_int(format, "width", &width);
    gst_structure_get_int(format, "height", &height);
    if (!gst_structure_get_fraction(format, "framerate", &pictures, &seconds) || pictures == 0) {
        return fmt::format("{} x {}", width, height);
    }
    return fmt::format("{} x {}, {:.4g} pictures a second", width, height,
                       static_cast<double>(pictures) / seconds);
}

/// A flush makes a source give up connecting and reading.
void flushSource(const GValue* item, gpointer) {
    auto* element = static_cast<GstElement*>(g_value_get_object(item));
    if (GST_IS_BIN(element) || !GST_OBJECT_FLAG_IS_SET(element, GST_ELEMENT_FLAG_SOURCE)) {
        return;
    }
    if (GstPad* pad = gst_element_get_static_pad(element, "src")) {
        gst_pad_send_event(pad, gst_event_new_flush_start());
        gst_object_unref(pad);
    }
}

} // namespace

Result<std::unique_ptr<GstVideoPipeline>> GstVideoPipeline::build(const GstOrigin& origin,
                                                                  GstOutlets outlets) {
    auto pipeline = buildPipeline(origin, outlets);
    if (!pipeline) {
        return Failure{pipeline.error()};
    }
    auto shared = std::make_shared<Shared>();
    shared->outlets = std::move(outlets);
    return std::unique_ptr<GstVideoPipeline>(
        new GstVideoPipeline(origin, pipeline.value(), std::move(shared)));
}

GstVideoPipeline::GstVideoPipeline(GstOrigin origin, std::shared_ptr<GstElement> pipeline,
                                   std::shared_ptr<Shared> shared)
    : origin_(std::move(origin))
    , pipeline_(std::move(pipeline))
    , shared_(std::move(shared)) {
    if (shared_->outlets.pictures) {
        connectPictures();
        watchPictureFormat();
    } else {
        connectSound();
    }
    connectEvents();
}

GstVideoPipeline::~GstVideoPipeline() {
    gst_element_set_state(pipeline_.get(), GST_STATE_NULL);
}

void GstVideoPipeline::connectPictures() {
    const GstPointer<GstElement> sink(
        gst_bin_get_by_name(GST_BIN(pipeline_.get()), kGstPicturesName));
    GstAppSinkCallbacks callbacks{};
    callbacks.new_sample = [](GstAppSink* source, gpointer data) {
        GstPointer<GstSample> sample(gst_app_sink_pull_sample(source));
        if (!sample) {
            return GST_FLOW_EOS;
        }
        GstHeld<Shared>::of(data).outlets.pictures->deliver(std::move(sample));
        return GST_FLOW_OK;
    };
    gst_app_sink_set_callbacks(GST_APP_SINK(sink.get()), &callbacks, GstHeld<Shared>::hold(shared_),
                               GstHeld<Shared>::drop);
    if (!origin_.isFile()) {
        GstPad* pad = gst_element_get_static_pad(sink.get(), "sink");
        gst_pad_add_probe(pad, GST_PAD_PROBE_TYPE_BUFFER, decidePacing, sink.get(), nullptr);
        gst_object_unref(pad);
    }
}

void GstVideoPipeline::connectEvents() {
    const GstPointer<GstBus> bus(gst_element_get_bus(pipeline_.get()));
    const auto take = [](GstBus*, GstMessage* message, gpointer data) {
        if (auto event = eventOf(message)) {
            GstHeld<Shared>::of(data).add(std::move(*event));
        }
        gst_message_unref(message);
        return GST_BUS_DROP;
    };
    gst_bus_set_sync_handler(bus.get(), take, GstHeld<Shared>::hold(shared_),
                             GstHeld<Shared>::drop);
}

void GstVideoPipeline::connectSound() {
    connectSoundTail(pipeline_.get(), shared_->outlets.sound);
    watchSoundFormat(pipeline_.get(), [shared = std::weak_ptr(shared_)](const std::string& text) {
        if (const auto alive = shared.lock()) {
            alive->add({PipelineEvent::Kind::Format, text});
        }
    });
}

void GstVideoPipeline::watchPictureFormat() {
    const auto seeFormat = [](GstPad*, GstPadProbeInfo* info, gpointer data) {
        GstEvent* event = gst_pad_probe_info_get_event(info);
        if (GST_EVENT_TYPE(event) == GST_EVENT_CAPS) {
            GstCaps* caps = nullptr;
            gst_event_parse_caps(event, &caps);
            GstHeld<Shared>::of(data).add(
                {PipelineEvent::Kind::Format, formatText(gst_caps_get_structure(caps, 0))});
        }
        return GST_PAD_PROBE_OK;
    };
    const GstPointer<GstElement> head(gst_bin_get_by_name(GST_BIN(pipeline_.get()), kGstHeadName));
    GstPad* pad = gst_element_get_static_pad(head.get(), "sink");
    gst_pad_add_probe(pad, GST_PAD_PROBE_TYPE_EVENT_DOWNSTREAM, seeFormat,
                      GstHeld<Shared>::hold(shared_), GstHeld<Shared>::drop);
    gst_object_unref(pad);
}

std::optional<Failure> GstVideoPipeline::open() {
    if (origin_.isNetwork()) {
        return std::nullopt;
    }
    if (origin_.isFile()) {
        return waitForFirstPicture();
    }
    if (gst_element_set_state(pipeline_.get(), GST_STATE_READY) == GST_STATE_CHANGE_FAILURE) {
        return takeFailure();
    }
    return std::nullopt;
}

std::optional<Failure> GstVideoPipeline::waitForFirstPicture() {
    gst_element_set_state(pipeline_.get(), GST_STATE_PAUSED);
    const auto outcome =
        gst_element_get_state(pipeline_.get(), nullptr, nullptr, kFirstPicturePatience);
    if (outcome == GST_STATE_CHANGE_FAILURE) {
        return takeFailure();
    }
    if (outcome == GST_STATE_CHANGE_ASYNC) {
        return Failure{shared_->outlets.pictures ? "The file did not show a picture in time."
                                                 : "The file gave no sound in time."};
    }
    // Where the file cannot be positioned, it ends like any other source, and rewind() tells so.
    rewind(false);
    return std::nullopt;
}

Failure GstVideoPipeline::takeFailure() {
    std::optional<Failure> found;
    const auto isTold = [&] {
        const auto event = std::find_if(
            shared_->events.begin(), shared_->events.end(),
            [](const PipelineEvent& one) { return one.kind == PipelineEvent::Kind::Failed; });
        if (event != shared_->events.end()) {
            found = Failure{event->text};
        }
        return found.has_value();
    };
    std::unique_lock guard(shared_->lock);
    // A thread of the source may fail the state change a moment before it says why.
    shared_->changed.wait_for(guard, kReasonPatience, isTold);
    return found.value_or(Failure{kNoReason});
}

void GstVideoPipeline::play() {
    const auto outcome = gst_element_set_state(pipeline_.get(), GST_STATE_PLAYING);
    if (outcome == GST_STATE_CHANGE_FAILURE) {
        // Mostly said by a message already; the second of two is never read.
        shared_->add({PipelineEvent::Kind::Failed, kNoReason});
    }
}

void GstVideoPipeline::park() {
    gst_element_set_state(pipeline_.get(), GST_STATE_READY);
}

bool GstVideoPipeline::rewind(bool seamless) {
    // A segment seek makes the end of the file a Lap, from which it goes on without a flush.
    const auto flags = seamless
                           ? GST_SEEK_FLAG_SEGMENT
                           : static_cast<GstSeekFlags>(GST_SEEK_FLAG_SEGMENT | GST_SEEK_FLAG_FLUSH);
    // One sink for all: a source that has two streams would be told twice.
    const char* name = shared_->outlets.pictures ? kGstPicturesName : kGstSoundName;
    const GstPointer<GstElement> sink(gst_bin_get_by_name(GST_BIN(pipeline_.get()), name));
    return gst_element_seek(sink.get(), 1.0, GST_FORMAT_TIME, flags, GST_SEEK_TYPE_SET, 0,
                            GST_SEEK_TYPE_NONE, -1) != FALSE;
}

void GstVideoPipeline::interrupt() {
    GstIterator* elements = gst_bin_iterate_recurse(GST_BIN(pipeline_.get()));
    while (gst_iterator_foreach(elements, flushSource, nullptr) == GST_ITERATOR_RESYNC) {
        gst_iterator_resync(elements);
    }
    gst_iterator_free(elements);
}

std::optional<PipelineEvent> GstVideoPipeline::nextEvent(const std::stop_token& stop,
                                                         TimePoint until) {
    std::unique_lock guard(shared_->lock);
    const bool hasEvent = shared_->changed.wait_until(guard, stop, until,
                                                      [this] { return !shared_->events.empty(); });
    if (!hasEvent || stop.stop_requested()) {
        return std::nullopt;
    }
    auto event = std::move(shared_->events.front());
    shared_->events.pop_front();
    return event;
}

} // namespace ovelo
