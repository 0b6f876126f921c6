#pragma once

#include "ipcam/IPCamEnvironment.h"
#include "platform/Data.h"

#include <chrono>
#include <cstdint>
#include <string>

namespace ovelo {

/// A camera's absence: what is shown meanwhile, and when it is tried again.
///
/// thread  the grabber's
class Outage final {
public:
    Outage(const IPCamTiming& timing, const Clock& clock);

    /// The camera is there.
    ///
    /// rgba  its picture of 320 x 240, which becomes the last one
    void end(Bytes rgba);

    /// The camera is away, or still is.
    ///
    /// return  how long to wait before the next attempt: twice as long each time
    std::chrono::milliseconds begin();

    [[nodiscard]] bool isOn() const { return isOn_; }

    /// The last picture, black without one: 320 x 240 RGBA.
    [[nodiscard]] const Bytes& lastPicture() const { return lastPicture_; }

    /// "NO SIGNAL since 14:05", in local time: when the last picture came, or else the start.
    [[nodiscard]] std::string text() const;

private:
    const IPCamTiming& timing_;
    const Clock& clock_;
    Bytes lastPicture_;
    std::int64_t lastSeen_; // seconds since 1970
    std::chrono::milliseconds pause_;
    bool isOn_ = false;
};

} // namespace ovelo
