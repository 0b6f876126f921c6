#pragma once

#include "capture/FramePipeline.h"
#include "server/Network.h"

namespace ovelo {

/// Hands finished pictures to the viewer server.
class NetworkSink final : public FrameSink {
public:
    explicit NetworkSink(Network& network) : network_(network) {}

    [[nodiscard]] bool hasClient() const override { return network_.hasClient(); }
    [[nodiscard]] bool shouldSkipFrame() override { return network_.shouldSkipFrame(); }
    void sendImageData(const Data& jpeg) override { network_.sendImageData(jpeg); }

private:
    Network& network_;
};

} // namespace ovelo
