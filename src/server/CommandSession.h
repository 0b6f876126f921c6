#pragma once

#include <string>

namespace ovelo {

/// What a viewer's commands change in its session. Implemented by NetworkInstance.
///
/// connection_type  0 for TCP, 1 for UDP
/// thread           the session's reader thread
class CommandSession {
public:
    virtual ~CommandSession() = default;

    /// The viewer password; empty when none is stored.
    virtual std::string getPassword() = 0;

    /// errors  SocketException when the text cannot be sent
    virtual void writeString(const std::string& text, int connection_type) = 0;
    virtual void sendVersion() = 0;

    /// Marks the transport as authenticated, and as not started.
    virtual void setAuthenticated(int connection_type) = 0;
    virtual void setStarted(int connection_type, bool started) = 0;

    /// Least seconds between two pictures.
    virtual void setFrameRateWait(float seconds) = 0;

    /// Whether the viewer wants sound.
    virtual void setEnableSound(bool enabled) = 0;

    /// Seconds that pictures are held back.
    virtual void setFrameDelay(float seconds) = 0;
};

} // namespace ovelo
