#pragma once

#include "ipcam/ListedCamera.h"

#include <sigc++/sigc++.h>

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>

namespace ovelo {

class Timer;
class UserAlerts;

/// The editing and the test of one camera, on a copy: only okAction() changes the list.
///
/// thread  main
class IPCamItemController final {
public:
    using TimerFactory = std::function<std::unique_ptr<Timer>(std::chrono::milliseconds delay,
                                                              std::function<void()> tick)>;

    /// What it works with; all of it outlives the object.
    struct Environment {
        UserAlerts& alerts;
        CameraClientFactory makeClient;
        TimerFactory timer;
        /// IPCamListController::updateIpCam.
        std::function<void(const CameraRecord& cam, const ListedCameraPointer& origCam)> update;
    };

    explicit IPCamItemController(Environment environment);
    ~IPCamItemController();
    IPCamItemController(const IPCamItemController&) = delete;
    IPCamItemController& operator=(const IPCamItemController&) = delete;

    /// Begins to edit a copy of `cam`, or with null a new camera.
    void loadCam(const ListedCameraPointer& cam);

    /// Puts what was edited into the list, unless it cannot be stored, which is told to the user.
    void okAction();

    /// Drops what was edited.
    void cancelAction();

    /// Fetches from the camera for 4 seconds, then tells how that went. Harmless while a test runs.
    void testAction();

    /// Tells how the test went, and ends it when the user has read that.
    void checkCamStatus();

    [[nodiscard]] const CameraRecord& cam() const { return cam_; }
    /// What the panel's fields say.
    void setCam(const CameraRecord& cam) { cam_ = cam; }
    [[nodiscard]] bool isEditingNewCam() const { return !origCam_; }
    [[nodiscard]] bool isTesting() const { return timer_ != nullptr; }

    /// cam() has another value, which the panel's fields shall show.
    sigc::signal<void()>& camChanged() { return camChanged_; }
    /// The panel shall be shown in front, or be hidden.
    sigc::signal<void()>& orderFront() { return orderFront_; }
    sigc::signal<void()>& orderOut() { return orderOut_; }
    sigc::signal<void()>& testingChanged() { return testingChanged_; }

private:
    void endTest();
    void stopClient();

    CameraRecord cam_;
    ListedCameraPointer origCam_; // null for a new camera

    const Environment environment_;
    std::shared_ptr<CameraClient> client_; // of the latest test
    bool hadBeenStarted_ = false;          // before the latest test
    std::unique_ptr<Timer> timer_;         // while a test runs
    sigc::signal<void()> camChanged_;
    sigc::signal<void()> orderFront_;
    sigc::signal<void()> orderOut_;
    sigc::signal<void()> testingChanged_;
};

} // namespace ovelo
