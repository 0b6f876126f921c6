#pragma once

#include "platform/Data.h"

#include <string>

namespace ovelo {

/// Where a recording is played to. Implemented by the viewer server's owner.
///
/// Neither call may start or stop a playback: that waits for the thread that is calling.
class PlaybackSink {
public:
    virtual ~PlaybackSink() = default;

    /// Sends a line to the viewers. Called on the playback's thread.
    virtual void sendText(const std::string& text) = 0;

    /// Sends a picture to the viewers. Called on the main thread.
    virtual void sendImageData(const Data& jpeg) = 0;
};

} // namespace ovelo
