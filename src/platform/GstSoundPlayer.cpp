#include "platform/GstSoundPlayer.h"

#include "platform/GstRuntime.h"
#include "platform/GstSoundServer.h"
#include "platform/Threads.h"

#include <gst/app/gstappsrc.h>
#include <gst/gst.h>

#include <string_view>
#include <utility>

namespace ovelo {

namespace {

using namespace std::chrono_literals;

constexpr std::chrono::milliseconds kPiece{20};
constexpr std::chrono::milliseconds kTurn{10};
constexpr std::chrono::milliseconds kBuffer{80}; // of the sink
constexpr std::chrono::seconds kStartLimit{5};
constexpr std::chrono::milliseconds kStartLook{50}; // for a wish to stop meanwhile
constexpr std::chrono::seconds kLook{1};            // for a sound server that has come
constexpr std::chrono::seconds kRetry{60};          // after a failure, without one
constexpr gint kSecond = 1000000000;                // nanoseconds
constexpr const char* kNoOutput = "There is no sound output.";

std::int64_t nanoseconds(std::chrono::nanoseconds time) {
    return time.count();
}

bool hasProperty(gpointer object, const char* name) {
    return g_object_class_find_property(G_OBJECT_GET_CLASS(object), name) != nullptr;
}

/// Keeps the sink's own buffer short.
void tune(GstBin*, GstBin*, GstElement* element, gpointer) {
    if (hasProperty(element, "buffer-time") && hasProperty(element, "latency-time")) {
        g_object_set(element, "buffer-time", gint64{std::chrono::microseconds(kBuffer).count()},
                     "latency-time", gint64{std::chrono::microseconds(kPiece).count()}, nullptr);
    }
}

/// The automatic sink takes one that throws everything away when it finds no other.
bool throwsAway(GstElement* pipeline) {
    bool found = false;
    GstIterator* elements = gst_bin_iterate_recurse(GST_BIN(pipeline));
    GValue item = G_VALUE_INIT;
    while (gst_iterator_next(elements, &item) == GST_ITERATOR_OK) {
        const auto* element = GST_ELEMENT(g_value_get_object(&item));
        const GstElementFactory* factory =
            gst_element_get_factory(const_cast<GstElement*>(element)); // it takes no const
        found = found || (factory && std::string_view(GST_OBJECT_NAME(factory)) == "fakesink");
        g_value_reset(&item);
    }
    g_value_unset(&item);
    gst_iterator_free(elements);
    return found;
}

} // namespace

GstSoundPlayer::GstSoundPlayer(int rate, Functions functions)
    : rate_(rate)
    , functions_(std::move(functions))
    , piece_(static_cast<std::size_t>(rate * kPiece / 1s)) {
    thread_ = std::jthread([this](const std::stop_token& stop) {
        settleThread("viewer-sound");
        run(stop);
    });
}

GstSoundPlayer::~GstSoundPlayer() {
    thread_.request_stop();
    thread_.join();
}

void GstSoundPlayer::run(const std::stop_token& stop) {
    GstRuntime::begin();
    while (!stop.stop_requested()) {
        const std::string problem = play(stop);
        tearDown();
        if (!stop.stop_requested()) {
            tell(problem);
            waitForOutput(stop);
        }
    }
}

/// Until another attempt may have better luck. Each one may write to standard error by itself, so
/// there are not many.
void GstSoundPlayer::waitForOutput(const std::stop_token& stop) {
    const auto sockets = soundServerSockets();
    const std::string before = soundServerState(sockets);
    const auto limit = std::chrono::steady_clock::now() + kRetry;
    do {
        pause(stop, kLook);
    } while (!stop.stop_requested() && std::chrono::steady_clock::now() < limit &&
             soundServerState(sockets) == before);
}

/// Plays until asked to stop, or until it cannot any more.
std::string GstSoundPlayer::play(const std::stop_token& stop) {
    if (auto problem = build(); !problem.empty()) {
        return problem;
    }
    if (auto problem = begin(stop); !problem.empty()) {
        return problem;
    }
    tell({});
    return supply(stop);
}

std::string GstSoundPlayer::build() {
    pipeline_.reset(gst_parse_launch_full(
        "appsrc name=input format=time is-live=false ! audioconvert ! audioresample"
        " ! autoaudiosink",
        nullptr, GST_PARSE_FLAG_FATAL_ERRORS, nullptr));
    if (!pipeline_) {
        return "GStreamer's sound elements are not installed.";
    }
    gst_object_ref_sink(pipeline_.get());
    g_signal_connect(pipeline_.get(), "deep-element-added", G_CALLBACK(tune), nullptr);
    input_.reset(gst_bin_get_by_name(GST_BIN(pipeline_.get()), "input"));
    GstCaps* caps = gst_caps_new_simple("audio/x-raw", "format", G_TYPE_STRING, "S16LE", "layout",
                                        G_TYPE_STRING, "interleaved", "rate", G_TYPE_INT, rate_,
                                        "channels", G_TYPE_INT, 1, nullptr);
    gst_app_src_set_caps(GST_APP_SRC(input_.get()), caps);
    gst_caps_unref(caps);
    samples_ = 0;
    return {};
}

std::string GstSoundPlayer::begin(const std::stop_token& stop) {
    if (gst_element_set_state(pipeline_.get(), GST_STATE_READY) == GST_STATE_CHANGE_FAILURE ||
        throwsAway(pipeline_.get())) {
        return kNoOutput;
    }
    while (position() < nanoseconds(kLead)) {
        push(std::nullopt);
    }
    if (gst_element_set_state(pipeline_.get(), GST_STATE_PLAYING) == GST_STATE_CHANGE_FAILURE ||
        !awaitPlaying(stop)) {
        const std::string reason = problem();
        return reason.empty() ? kNoOutput : reason;
    }
    return {};
}

/// return  false when it does not come to play, or is asked to stop
bool GstSoundPlayer::awaitPlaying(const std::stop_token& stop) {
    const auto limit = std::chrono::steady_clock::now() + kStartLimit;
    auto state = GST_STATE_CHANGE_ASYNC;
    while (state == GST_STATE_CHANGE_ASYNC && !stop.stop_requested() &&
           std::chrono::steady_clock::now() < limit) {
        state = gst_element_get_state(pipeline_.get(), nullptr, nullptr,
                                      static_cast<GstClockTime>(nanoseconds(kStartLook)));
    }
    return state == GST_STATE_CHANGE_SUCCESS;
}

std::string GstSoundPlayer::supply(const std::stop_token& stop) {
    while (!stop.stop_requested()) {
        if (auto reason = problem(); !reason.empty()) {
            return reason;
        }
        if (const auto now = runningTime()) {
            supplyUpTo(*now + nanoseconds(kLead), *now);
        }
        pause(stop, kTurn);
    }
    return {};
}

/// The running time of the next piece, in nanoseconds.
std::int64_t GstSoundPlayer::position() const {
    return static_cast<std::int64_t>(
        gst_util_uint64_scale_int(static_cast<guint64>(samples_), kSecond, rate_));
}

/// Pushes pieces until `end`, in nanoseconds of the pipeline's running time; it is `now`.
void GstSoundPlayer::supplyUpTo(std::int64_t end, std::int64_t now) {
    const auto steady = std::chrono::steady_clock::now();
    if (position() < now) { // we were stopped for a while: what is past is not played
        samples_ = static_cast<std::int64_t>(
                       gst_util_uint64_scale_int(static_cast<guint64>(now), rate_, kSecond)) +
                   1;
    }
    while (position() + nanoseconds(kPiece) <= end) {
        push(steady + std::chrono::nanoseconds(position() - now));
    }
}

/// heard  none: silence
void GstSoundPlayer::push(std::optional<Time> heard) {
    std::fill(piece_.begin(), piece_.end(), std::int16_t{0});
    if (heard) {
        functions_.render(piece_, *heard);
    }
    GstBuffer* buffer = gst_buffer_new_memdup(piece_.data(), piece_.size() * sizeof(std::int16_t));
    GST_BUFFER_PTS(buffer) = static_cast<GstClockTime>(position());
    samples_ += static_cast<std::int64_t>(piece_.size());
    GST_BUFFER_DURATION(buffer) = static_cast<GstClockTime>(position()) - GST_BUFFER_PTS(buffer);
    gst_app_src_push_buffer(GST_APP_SRC(input_.get()), buffer); // takes it, also when it fails
}

std::optional<std::int64_t> GstSoundPlayer::runningTime() const {
    GstClock* clock = gst_element_get_clock(pipeline_.get());
    if (!clock) {
        return std::nullopt;
    }
    const GstClockTime now = gst_clock_get_time(clock);
    gst_object_unref(clock);
    const GstClockTime base = gst_element_get_base_time(pipeline_.get());
    if (now == GST_CLOCK_TIME_NONE || now < base) {
        return std::nullopt;
    }
    return static_cast<std::int64_t>(now - base);
}

/// Why nothing is played any more; empty as long as it is.
std::string GstSoundPlayer::problem() const {
    const GstPointer<GstBus> bus(gst_element_get_bus(pipeline_.get()));
    GstMessage* message = gst_bus_pop_filtered(
        bus.get(), static_cast<GstMessageType>(GST_MESSAGE_ERROR | GST_MESSAGE_EOS));
    if (!message) {
        return {};
    }
    std::string text = kNoOutput;
    if (GST_MESSAGE_TYPE(message) == GST_MESSAGE_ERROR) {
        GError* error = nullptr;
        gst_message_parse_error(message, &error, nullptr);
        text = error->message;
        g_error_free(error);
    }
    gst_message_unref(message);
    return text;
}

void GstSoundPlayer::tearDown() {
    if (pipeline_) {
        gst_element_set_state(pipeline_.get(), GST_STATE_NULL);
        input_.reset();
        pipeline_.reset();
    }
}

void GstSoundPlayer::tell(const std::string& problem) {
    if (told_ && told_->empty() == problem.empty()) {
        return; // one text is enough, whatever each new attempt says
    }
    told_ = problem;
    functions_.changed(problem);
}

void GstSoundPlayer::pause(const std::stop_token& stop, std::chrono::milliseconds length) {
    MutexLock lock(pauseLock_);
    stopped_.wait_for(pauseLock_, stop, length, [] { return false; });
}

std::unique_ptr<SoundPlayer> SoundPlayer::create(int rate, Functions functions) {
    return std::make_unique<GstSoundPlayer>(rate, std::move(functions));
}

} // namespace ovelo
