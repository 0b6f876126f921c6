#pragma once

#include "alerts/MotionEvent.h"
#include "platform/ChildProcess.h"
#include "platform/Clock.h"

#include <functional>
#include <list>
#include <memory>
#include <optional>
#include <string>

namespace ovelo {

class Logger;
class Settings;

/// Runs the user's own command for motions: the setting "alertCommand", at most once in
/// "alertCommandSpacing" seconds.
///
/// The command is run without a shell, with the picture on its standard input and OVELO_EVENT,
/// OVELO_TIME, OVELO_RATIO and OVELO_THRESHOLD in its environment. It is ended after 30 seconds; one
/// that fails is logged.
///
/// thread  main, but for motion()
class AlertCommand final {
public:
    struct Environment {
        const Settings& settings;
        const Clock& clock;
        Logger& log;
        std::function<std::unique_ptr<ChildProcess>(
            const ChildProcess::Request&, std::function<void(const ChildProcess::Ending&)>)>
            start = &ChildProcess::start;
    };

    explicit AlertCommand(Environment environment);

    /// Ends what still runs.
    ~AlertCommand();
    AlertCommand(const AlertCommand&) = delete;
    AlertCommand& operator=(const AlertCommand&) = delete;

    /// Has the command run soon. Returns at once. Any thread.
    void motion(const MotionEvent& event);

    /// Ends what still runs, within 200 ms, and runs nothing any more.
    void stop();

private:
    struct Run {
        std::unique_ptr<ChildProcess> process;
        bool hasEnded = false;
    };

    void run(const MotionEvent& event);
    [[nodiscard]] bool isDue();
    [[nodiscard]] std::chrono::seconds spacing() const;
    void report(const std::string& command, const ChildProcess::Ending& ending);

    Environment environment_;
    std::optional<Clock::Steady> lastRun_;
    std::list<Run> runs_;
    bool isStopped_ = false;
    std::shared_ptr<bool> alive_ = std::make_shared<bool>(true); // for calls that come late
};

} // namespace ovelo
