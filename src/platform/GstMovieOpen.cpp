#include "platform/GstMovie.h"
#include "platform/GstPipelineBuild.h"
#include "platform/GstRuntime.h"
#include "platform/Movie.h"

#include <gst/gst.h>

#include <string>
#include <system_error>
#include <utility>

namespace ovelo {

namespace {

using namespace std::chrono_literals;

constexpr auto kPatience = 3s; // with the first picture
constexpr auto kSlice = 10ms;  // until the next look at the stop token and at failures
constexpr int kAhead = 3;      // decoded pictures that wait

using Pipeline = std::shared_ptr<GstElement>;

/// Lets go of the file when opening does not come to its end.
class Opening {
public:
    explicit Opening(Pipeline pipeline) : pipeline_(std::move(pipeline)) {}
    ~Opening() {
        if (pipeline_) {
            gst_element_set_state(pipeline_.get(), GST_STATE_NULL);
        }
    }
    Opening(const Opening&) = delete;
    Opening& operator=(const Opening&) = delete;

    [[nodiscard]] GstElement* get() const { return pipeline_.get(); }
    [[nodiscard]] Pipeline release() { return std::exchange(pipeline_, nullptr); }

private:
    Pipeline pipeline_;
};

/// The file's URI, which quotes what is special in its name.
Result<std::string> uriOf(const std::filesystem::path& file) {
    GError* error = nullptr;
    gchar* uri = gst_filename_to_uri(file.c_str(), &error);
    if (!uri) {
        Failure failure{error ? error->message : "The file's name cannot be used."};
        g_clear_error(&error);
        return failure;
    }
    std::string text(uri);
    g_free(uri);
    return text;
}

/// Waits for a failure to be told.
std::optional<Failure> failureOf(GstElement* pipeline, GstClockTime limit) {
    const GstPointer<GstBus> bus(gst_element_get_bus(pipeline));
    GstMessage* message = gst_bus_timed_pop_filtered(bus.get(), limit, GST_MESSAGE_ERROR);
    if (!message) {
        return std::nullopt;
    }
    GError* error = nullptr;
    gst_message_parse_error(message, &error, nullptr);
    Failure failure{error ? error->message : "unknown error"};
    g_clear_error(&error);
    gst_message_unref(message);
    return failure;
}

/// Decodes up to the first picture. Some damaged files take all the patience there is: GStreamer's
/// decoder keeps a failure to itself that comes while it is still connecting what has failed.
std::optional<Failure> waitForFirstPicture(GstElement* pipeline, const std::stop_token& stop) {
    constexpr GstClockTime kReasonPatience = 200 * GST_MSECOND;
    constexpr auto kWait = static_cast<GstClockTime>(std::chrono::nanoseconds(kSlice).count());
    const auto deadline = std::chrono::steady_clock::now() + kPatience;
    gst_element_set_state(pipeline, GST_STATE_PAUSED);
    while (!stop.stop_requested() && std::chrono::steady_clock::now() < deadline) {
        const auto outcome = gst_element_get_state(pipeline, nullptr, nullptr, kWait);
        if (outcome == GST_STATE_CHANGE_FAILURE) {
            return failureOf(pipeline, kReasonPatience)
                .value_or(Failure{"The movie cannot be opened."});
        }
        if (auto failure = failureOf(pipeline, 0)) {
            return failure;
        }
        if (outcome != GST_STATE_CHANGE_ASYNC) {
            return std::nullopt;
        }
    }
    return Failure{stop.stop_requested() ? "Opening was given up."
                                         : "The movie did not show a picture in time."};
}

Movie::Time durationOf(GstElement* pipeline) {
    gint64 duration = 0;
    const bool isKnown = gst_element_query_duration(pipeline, GST_FORMAT_TIME, &duration) != FALSE;
    return Movie::Time(isKnown ? duration : 0);
}

/// Every picture counts here, unlike with a camera's.
void keepAllPictures(GstElement* pipeline) {
    const GstPointer<GstElement> sink(gst_bin_get_by_name(GST_BIN(pipeline), kGstPicturesName));
    g_object_set(sink.get(), "sync", FALSE, "drop", FALSE, "max-buffers", kAhead, nullptr);
}

} // namespace

Result<std::unique_ptr<Movie>> Movie::open(const std::filesystem::path& file,
                                           const std::stop_token& stop) {
    std::error_code unknown; // is no regular file either
    if (!std::filesystem::is_regular_file(file, unknown)) {
        return Failure{"There is no such file."};
    }
    GstRuntime::begin();
    const auto uri = uriOf(std::filesystem::absolute(file, unknown));
    if (!uri) {
        return Failure{uri.error()};
    }
    // Its pictures are pulled, so nothing is ever delivered there; that it is there keeps the sound out.
    const GstOutlets picturesAlone{std::make_shared<GstFrameDelivery>(), nullptr};
    auto built = buildPipeline({uri.value(), nullptr}, picturesAlone);
    if (!built) {
        return Failure{built.error()};
    }
    Opening opening(std::move(built).value());
    keepAllPictures(opening.get());
    if (auto failure = waitForFirstPicture(opening.get(), stop)) {
        return *failure;
    }
    const Time duration = durationOf(opening.get());
    if (duration <= Time::zero()) {
        return Failure{"The movie's length is not known."};
    }
    gst_element_set_state(opening.get(), GST_STATE_PLAYING);
    return std::unique_ptr<Movie>(std::make_unique<GstMovie>(opening.release(), duration));
}

} // namespace ovelo
