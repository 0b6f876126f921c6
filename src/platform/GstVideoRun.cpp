#include "platform/GstVideoRun.h"

#include "platform/Threads.h"

#include <fmt/format.h>

#include <algorithm>
#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <optional>
#include <utility>

namespace ovelo {

namespace {

using namespace std::chrono_literals;

constexpr int kStallChecks = 10;        // within the time of a stall
constexpr std::uint64_t kMovingLap = 2; // pictures; a file with fewer is a still
constexpr auto kStillPause = 1000ms;    // between two showings of a still
constexpr auto kShortestLap = 20ms;     // so that a movie without a length does not spin

long long wholeSeconds(std::chrono::milliseconds time) {
    return std::chrono::round<std::chrono::seconds>(time).count();
}

} // namespace

/// What the thread does and works on.
class GstVideoRun::Loop {
public:
    Loop(Environment environment, std::unique_ptr<GstVideoPipeline> pipeline, GstOutlets outlets)
        : environment_(std::move(environment))
        , outlets_(std::move(outlets))
        , pause_(environment_.patience.firstPause)
        , pipeline_(std::move(pipeline)) {}

    /// The thread's.
    void run(const std::stop_token& stop);

    // The main thread's.
    void detach() const { outlets_.detach(); }
    bool waitUntilEnded(std::chrono::milliseconds limit);
    void interrupt();
    std::unique_ptr<GstVideoPipeline> takePipeline();
    /// Returns when no listener is running any more; none is called again.
    void silence();

private:
    using TimePoint = std::chrono::steady_clock::time_point;
    using Listener = std::function<void(const std::string&)>;

    [[nodiscard]] bool isSoundAlone() const { return outlets_.pictures == nullptr; }
    /// These tell why it is over; nothing when it is not, or when it was asked to stop.
    std::optional<std::string> preparePipeline();
    std::optional<std::string> play(const std::stop_token& stop);
    std::optional<std::string> take(const PipelineEvent& event, const std::stop_token& stop);
    std::optional<std::string> startFileAgain(bool seamless, const std::stop_token& stop);
    [[nodiscard]] TimePoint nextCheck() const;
    bool hasStalled();
    void pauseAfter(const std::string& reason, const std::stop_token& stop);
    void wait(std::chrono::milliseconds time, const std::stop_token& stop);
    void setPipeline(std::unique_ptr<GstVideoPipeline> pipeline);
    void tell(const Listener& listener, const std::string& text);
    void finish();

    const Environment environment_;
    const GstOutlets outlets_;

    // The thread's own.
    std::chrono::milliseconds pause_;
    std::uint64_t seenPictures_ = 0;
    TimePoint lastProgress_;
    std::optional<TimePoint> flowingSince_;
    std::uint64_t lapBegan_ = 0; // pictures when the file was last started
    bool mustRebuild_ = false;   // a file ended that starts again only as a new pipeline

    std::mutex listenersLock_; // held while a listener is called
    bool isSilent_ = false;

    // Guarded by lock_, a leaf.
    std::mutex lock_;
    std::condition_variable_any changed_;
    std::unique_ptr<GstVideoPipeline>
        pipeline_; // written by the thread alone, which reads it without the lock
    bool hasEnded_ = false;
};

void GstVideoRun::Loop::run(const std::stop_token& stop) {
    settleThread(isSoundAlone() ? "sound control" : "camera control");
    while (!stop.stop_requested()) {
        auto reason = preparePipeline();
        if (!reason) {
            reason = play(stop);
        }
        if (!reason) {
            break; // asked to stop
        }
        setPipeline(nullptr);
        if (std::exchange(mustRebuild_, false)) {
            continue;
        }
        if (!environment_.origin.isNetwork()) {
            tell(environment_.ended, *reason);
            break;
        }
        pauseAfter(*reason, stop);
    }
    finish();
}

std::optional<std::string> GstVideoRun::Loop::preparePipeline() {
    if (pipeline_) {
        return std::nullopt; // open already
    }
    auto built = GstVideoPipeline::build(environment_.origin, outlets_);
    if (!built) {
        return built.error();
    }
    setPipeline(std::move(built).value());
    const auto failure = pipeline_->open();
    return failure ? std::optional(failure->text) : std::nullopt;
}

std::optional<std::string> GstVideoRun::Loop::play(const std::stop_token& stop) {
    seenPictures_ = outlets_.arrivals();
    lapBegan_ = seenPictures_;
    lastProgress_ = std::chrono::steady_clock::now();
    flowingSince_.reset();
    // Once it waits for the network only interrupt() ends it, and that may have been called already.
    if (stop.stop_requested()) {
        return std::nullopt;
    }
    pipeline_->play();
    while (!stop.stop_requested()) {
        if (const auto event = pipeline_->nextEvent(stop, nextCheck())) {
            if (auto reason = take(*event, stop)) {
                return reason;
            }
        } else if (hasStalled()) {
            return fmt::format("No {} for {} s.", isSoundAlone() ? "sound" : "picture",
                               wholeSeconds(environment_.patience.stall));
        }
    }
    return std::nullopt;
}

GstVideoRun::Loop::TimePoint GstVideoRun::Loop::nextCheck() const {
    if (!environment_.origin.isNetwork()) {
        return TimePoint::max(); // whatever else stalls is waited for
    }
    return std::chrono::steady_clock::now() + environment_.patience.stall / kStallChecks;
}

std::optional<std::string> GstVideoRun::Loop::take(const PipelineEvent& event,
                                                   const std::stop_token& stop) {
    switch (event.kind) {
    case PipelineEvent::Kind::Failed:
        return event.text;
    case PipelineEvent::Kind::Ended:
        return environment_.origin.isFile() ? startFileAgain(false, stop) : event.text;
    case PipelineEvent::Kind::Lap:
        return startFileAgain(true, stop);
    case PipelineEvent::Kind::Format:
        tell(environment_.format, event.text);
        return std::nullopt;
    }
    return std::nullopt;
}

std::optional<std::string> GstVideoRun::Loop::startFileAgain(bool seamless,
                                                             const std::stop_token& stop) {
    const std::uint64_t pictures = outlets_.arrivals();
    const bool isStill = pictures - std::exchange(lapBegan_, pictures) < kMovingLap;
    // A seamless lap is read long before it is shown, so its pictures say nothing.
    wait(!seamless && isStill ? kStillPause : kShortestLap, stop);
    if (stop.stop_requested() || pipeline_->rewind(seamless)) {
        return std::nullopt;
    }
    mustRebuild_ = true; // a still cannot be positioned, but shown anew
    return "The file cannot be positioned.";
}

bool GstVideoRun::Loop::hasStalled() {
    if (!environment_.origin.isNetwork()) {
        return false;
    }
    const auto now = std::chrono::steady_clock::now();
    const std::uint64_t pictures = outlets_.arrivals();
    if (std::exchange(seenPictures_, pictures) == pictures) {
        return now - lastProgress_ >= environment_.patience.stall;
    }
    lastProgress_ = now;
    flowingSince_ = flowingSince_.value_or(now);
    if (now - *flowingSince_ >= environment_.patience.steadyAfter) {
        pause_ = environment_.patience.firstPause;
    }
    return false;
}

void GstVideoRun::Loop::pauseAfter(const std::string& reason, const std::stop_token& stop) {
    tell(environment_.log, fmt::format("{} stream dropped: {} - {} Next try in {} s.\n",
                                       isSoundAlone() ? "Sound" : "Camera", environment_.name,
                                       reason, wholeSeconds(pause_)));
    wait(pause_, stop);
    pause_ = std::min(pause_ * 2, environment_.patience.longestPause);
}

void GstVideoRun::Loop::wait(std::chrono::milliseconds time, const std::stop_token& stop) {
    std::unique_lock guard(lock_);
    changed_.wait_for(guard, stop, time, [] { return false; });
}

void GstVideoRun::Loop::setPipeline(std::unique_ptr<GstVideoPipeline> pipeline) {
    {
        const std::lock_guard guard(lock_);
        pipeline_.swap(pipeline);
    }
    // The former one ends here, which may take a while.
}

void GstVideoRun::Loop::tell(const Listener& listener, const std::string& text) {
    const std::lock_guard guard(listenersLock_);
    if (listener && !isSilent_) {
        listener(text);
    }
}

void GstVideoRun::Loop::finish() {
    if (environment_.origin.isHardware() && environment_.keepsHardware && pipeline_) {
        pipeline_->park();
    } else {
        setPipeline(nullptr);
    }
    {
        const std::lock_guard guard(lock_);
        hasEnded_ = true;
    }
    changed_.notify_all();
}

bool GstVideoRun::Loop::waitUntilEnded(std::chrono::milliseconds limit) {
    std::unique_lock guard(lock_);
    return changed_.wait_for(guard, limit, [this] { return hasEnded_; });
}

void GstVideoRun::Loop::interrupt() {
    const std::lock_guard guard(lock_);
    if (pipeline_) {
        pipeline_->interrupt();
    }
}

std::unique_ptr<GstVideoPipeline> GstVideoRun::Loop::takePipeline() {
    const std::lock_guard guard(lock_);
    return std::move(pipeline_);
}

void GstVideoRun::Loop::silence() {
    const std::lock_guard guard(listenersLock_);
    isSilent_ = true;
}

GstVideoRun::GstVideoRun(Environment environment, std::unique_ptr<GstVideoPipeline> pipeline,
                         GstOutlets outlets)
    : loop_(std::make_shared<Loop>(std::move(environment), std::move(pipeline), std::move(outlets)))
    , thread_([loop = loop_](const std::stop_token& stop) { loop->run(stop); }) {
}

GstVideoRun::~GstVideoRun() {
    stop();
    if (!waitUntilEnded(std::chrono::milliseconds::zero())) {
        loop_->silence();
        thread_.detach();
    }
}

void GstVideoRun::stop() {
    loop_->detach();
    thread_.request_stop();
}

bool GstVideoRun::waitUntilEnded(std::chrono::milliseconds limit) {
    return loop_->waitUntilEnded(limit);
}

void GstVideoRun::interrupt() {
    loop_->interrupt();
}

std::unique_ptr<GstVideoPipeline> GstVideoRun::takePipeline() {
    return loop_->takePipeline();
}

} // namespace ovelo
