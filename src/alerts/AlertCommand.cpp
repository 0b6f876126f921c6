#include "alerts/AlertCommand.h"

#include "platform/MainThread.h"
#include "platform/Settings.h"
#include "support/Logger.h"

#include <fmt/chrono.h>
#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <chrono>
#include <ctime>

namespace ovelo {

namespace {

using namespace std::chrono_literals;

constexpr auto kLimit = 30s;
constexpr auto kUsualSpacing = 10s;
constexpr auto kLongestSpacing = 86400s;
constexpr auto kStopPatience = 100ms; // for all of them, before they are killed

std::string timeText(const TimeValue& time) {
    return fmt::format("{:%Y-%m-%dT%H:%M:%SZ}",
                       fmt::gmtime(static_cast<std::time_t>(time.seconds)));
}

} // namespace

AlertCommand::AlertCommand(Environment environment) : environment_(std::move(environment)) {
}

AlertCommand::~AlertCommand() {
    stop();
}

void AlertCommand::motion(const MotionEvent& event) {
    MainThread::perform([this, event, alive = std::weak_ptr(alive_)] {
        if (!alive.expired()) {
            run(event);
        }
    });
}

void AlertCommand::run(const MotionEvent& event) {
    runs_.remove_if([](const Run& former) { return former.hasEnded; });
    const std::string command = environment_.settings.string("alertCommand").value_or("");
    if (isStopped_ || command.empty() || !isDue()) {
        return;
    }
    Run& added = runs_.emplace_back();
    added.process = environment_.start({command,
                                        {{"OVELO_EVENT", "motion"},
                                         {"OVELO_TIME", timeText(event.time)},
                                         {"OVELO_RATIO", fmt::format("{:f}", event.ratio)},
                                         {"OVELO_THRESHOLD", fmt::format("{:f}", event.threshold)}},
                                        event.jpeg,
                                        kLimit},
                                       [this, &added, command](const ChildProcess::Ending& ending) {
                                           added.hasEnded = true;
                                           report(command, ending);
                                       });
}

bool AlertCommand::isDue() {
    const auto now = environment_.clock.steady();
    if (lastRun_ && *lastRun_ + spacing() > now) {
        return false;
    }
    lastRun_ = now;
    return true;
}

std::chrono::seconds AlertCommand::spacing() const {
    const std::string text = environment_.settings.string("alertCommandSpacing").value_or("");
    long long seconds = 0;
    const char* const end = text.data() + text.size();
    const auto [stopped, error] = std::from_chars(text.data(), end, seconds);
    if (error == std::errc::result_out_of_range && !text.starts_with('-')) {
        return kLongestSpacing;
    }
    if (error != std::errc() || stopped != end || seconds < 0) {
        return kUsualSpacing;
    }
    return std::min(std::chrono::seconds(seconds), std::chrono::seconds(kLongestSpacing));
}

void AlertCommand::report(const std::string& command, const ChildProcess::Ending& ending) {
    if (isStopped_ || !ending.failure) {
        return;
    }
    const std::string last = ending.lastErrorLine.empty() ? "" : " - " + ending.lastErrorLine;
    // The program alone, for its arguments may be secrets.
    environment_.log.write(fmt::format("Alert command failed: {}: {}{}\n",
                                       ChildProcess::programOf(command), *ending.failure, last));
}

void AlertCommand::stop() {
    isStopped_ = true;
    for (const Run& run : runs_) {
        run.process->terminate();
    }
    const auto deadline = std::chrono::steady_clock::now() + kStopPatience;
    for (const Run& run : runs_) {
        const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
            deadline - std::chrono::steady_clock::now());
        run.process->waitUntilEnded(std::max(left, 0ms));
    }
    runs_.clear(); // kills those that would not
}

} // namespace ovelo
