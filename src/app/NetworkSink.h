#pragma once

#include "audio/AudioSink.h"
#include "capture/FramePipeline.h"
#include "playback/PlaybackSink.h"
#include "server/Network.h"

namespace ovelo {

/// Hands finished pictures, sound and texts to the viewer server.
class NetworkSink final : public FrameSink, public AudioSink, public PlaybackSink {
public:
    explicit NetworkSink(Network& network) : network_(network) {}

    [[nodiscard]] bool hasClient() const override { return network_.hasClient(); }
    [[nodiscard]] bool shouldSkipFrame() override { return network_.shouldSkipFrame(); }
    void sendImageData(const Data& jpeg) override { network_.sendImageData(jpeg); }
    void sendAudioData(const Data& data) override { network_.sendAudioData(data); }
    void sendText(const std::string& text) override { network_.sendText(text); }

private:
    Network& network_;
};

} // namespace ovelo
