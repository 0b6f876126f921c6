#pragma once

#include "ipcam/CameraClient.h"
#include "ipcam/IPCam.h"

namespace ovelo {

/// A camera of the list, fetched by a grabber.
class GrabberClient final : public CameraClient {
public:
    /// environment  see IPCam
    /// isWatched    viewers may watch it, so that it may come back by itself; else it is only tested
    GrabberClient(const CameraRecord& record, const IPCamEnvironment& environment, bool isWatched);

    void start() override { camera_.start(); }
    void stop() override { camera_.stop(); }
    [[nodiscard]] bool started() const override { return camera_.started(); }
    [[nodiscard]] std::int32_t reqReturnCode() const override { return camera_.reqReturnCode(); }

    /// Makes them.
    static CameraClientFactory factory(const IPCamEnvironment& environment, bool isWatched);

private:
    IPCam camera_;
};

} // namespace ovelo
