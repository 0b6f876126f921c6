#pragma once

#include <string>
#include <vector>

namespace ovelo {

/// The cameras on the network that can stand in for a local one; they feed the device "Kavrin
/// IPCam".
///
/// thread  main, but for cameras(), which any thread may call
class NetworkCameras {
public:
    struct Camera {
        std::string name;
        std::string urlString;
    };

    virtual ~NetworkCameras() = default;

    /// The user's list, in its order.
    [[nodiscard]] virtual std::vector<Camera> cameras() const = 0;

    /// Begins to fetch pictures from the camera of this name, which is in the list.
    virtual void start(const std::string& name) = 0;

    /// Ends that.
    virtual void stop(const std::string& name) = 0;
};

} // namespace ovelo
