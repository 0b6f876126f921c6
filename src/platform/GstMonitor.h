#pragma once

#include "platform/GstTypes.h"

#include <chrono>
#include <functional>
#include <memory>
#include <string>
#include <thread>
#include <vector>

namespace ovelo {

/// Watches which cameras and microphones the computer has.
///
/// thread  any
class GstMonitor final {
public:
    /// One device of the computer.
    struct Found {
        std::string key; // the same for the same device, whichever service offers it
        std::string name;
        std::string model;
        bool isSound = false;
        bool isLoopback = false; // what the computer plays, not what a microphone hears
        std::shared_ptr<GstDevice> device;
    };

    struct Patience {
        /// How often to see whether a sound server came or went: the library does not notice.
        std::chrono::milliseconds glance = std::chrono::seconds(5);
        /// How long the first search may take until the rest of the program goes on without it.
        std::chrono::milliseconds search = std::chrono::seconds(1);
        /// How long the end waits for a search.
        std::chrono::milliseconds end = std::chrono::milliseconds(500);
    };

    /// Makes GStreamer ready and begins to watch; takes about 20 ms. A sound server that accepts
    /// and does not answer holds up nobody: its devices are there when it has answered.
    GstMonitor();
    explicit GstMonitor(Patience patience);
    ~GstMonitor();
    GstMonitor(const GstMonitor&) = delete;
    GstMonitor& operator=(const GstMonitor&) = delete;

    /// The devices that are there now, each once; microphones before loopbacks. Never waits: while
    /// everything is looked up anew it gives what it gave before.
    [[nodiscard]] std::vector<Found> devices() const;

    /// Calls `changed` on a thread of the library whenever devices() may give something else.
    void watch(std::function<void()> changed);

private:
    class Search; // shared with the thread, which may have to be left behind in the library

    const std::shared_ptr<Search> search_;
    const Patience patience_;
    std::jthread thread_;
};

} // namespace ovelo
