#pragma once

#include "platform/GstTypes.h"

#include <chrono>
#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
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

    /// Makes GStreamer ready and begins to watch; takes about 20 ms.
    ///
    /// glance  how often to see whether a sound server came or went: the library does not notice
    explicit GstMonitor(std::chrono::milliseconds glance = std::chrono::seconds(5));
    ~GstMonitor();
    GstMonitor(const GstMonitor&) = delete;
    GstMonitor& operator=(const GstMonitor&) = delete;

    /// The devices that are there now, each once; microphones before loopbacks. Never waits: while
    /// everything is looked up anew it gives what it gave before.
    [[nodiscard]] std::vector<Found> devices() const;

    /// Calls `changed` on a thread of the library whenever devices() may give something else.
    void watch(std::function<void()> changed);

private:
    struct Listener;

    [[nodiscard]] std::shared_ptr<GstDeviceMonitor> startedMonitor() const;
    void watchSoundServer(const std::stop_token& stop, std::string state);
    void renew();

    const std::shared_ptr<Listener> listener_; // outlives the library's last call
    mutable std::mutex lock_;                  // guards monitor_; held while it is renewed
    std::shared_ptr<GstDeviceMonitor> monitor_;
    mutable std::mutex knownLock_; // guards known_; a leaf
    mutable std::vector<Found> known_;
    const std::chrono::milliseconds glanceInterval_;
    const std::vector<std::string> soundServers_; // their sockets
    std::condition_variable_any stopped_;
    std::jthread glances_; // last: begins when all of the above is there
};

} // namespace ovelo
