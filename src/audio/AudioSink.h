#pragma once

#include "platform/Data.h"

namespace ovelo {

/// Where captured sound goes: to everybody who listens. Implemented by Network.
///
/// thread  the audio queue's; it must not wait for the main thread
class AudioSink {
public:
    AudioSink() = default;
    virtual ~AudioSink() = default;
    AudioSink(const AudioSink&) = delete;
    AudioSink& operator=(const AudioSink&) = delete;

    /// Sends one audio message.
    virtual void sendAudioData(const Data& data) = 0;
};

} // namespace ovelo
