#pragma once

#include "app/NetworkCameras.h"
#include "ipcam/ListedCamera.h"

#include <sigc++/sigc++.h>

#include <mutex>
#include <string>
#include <vector>

namespace ovelo {

class IPCamListController;

/// The user's list of network cameras, as the choice of sources sees it.
///
/// A camera that plays goes on as it was when the list is edited, until it is stopped.
class ListedCameras final : public NetworkCameras, public sigc::trackable {
public:
    /// list  outlives this object
    explicit ListedCameras(IPCamListController& list);
    ~ListedCameras() override = default;

    [[nodiscard]] std::vector<Camera> cameras() const override;
    void start(const std::string& name) override;
    void stop(const std::string& name) override;

private:
    void publish();

    IPCamListController& list_;
    ListedCameraPointer playing_;
    mutable std::mutex lock_; // a leaf
    std::vector<Camera> cameras_;
};

} // namespace ovelo
