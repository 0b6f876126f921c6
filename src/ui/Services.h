#pragma once

#include "app/ListedCameras.h"
#include "ipcam/IPCamListController.h"
#include "ipcam/JpegCameraPictures.h"
#include "platform/AudioSystem.h"
#include "platform/DriverCaptureDevices.h"
#include "platform/QtHttpClient.h"
#include "platform/RouterPortMapper.h"
#include "support/AutoUpdater.h"
#include "support/DriverSetting.h"
#include "ui/AlertBoxes.h"

#include <memory>

namespace ovelo {

class Logger;
class Settings;

/// What the document and its window work with: the real devices, cameras on the network, the web, the
/// router, mail and notifications.
///
/// Nothing of it is loaded or started before it is used, for the sake of the program's start.
///
/// thread    main
/// lifetime  outlives the document
class Services final {
public:
    /// onScreen  false: alerts are printed on standard error
    Services(Settings& settings, Logger& log, bool onScreen);
    ~Services();
    Services(const Services&) = delete;
    Services& operator=(const Services&) = delete;

    [[nodiscard]] CaptureDevices& devices() { return devices_; }
    [[nodiscard]] AudioSystem& sound() { return *sound_; }
    [[nodiscard]] HttpClient& http() { return http_; }
    [[nodiscard]] UserAlerts& alerts() { return alerts_; }
    [[nodiscard]] TCMPortMapper& router() { return router_; }
    [[nodiscard]] DriverSetting& driver() { return driver_; }
    [[nodiscard]] IPCamListController& cameraList() { return cameraList_; }
    [[nodiscard]] NetworkCameras& cameras() { return cameras_; }
    [[nodiscard]] AutoUpdater& updates() { return *updates_; }

private:
    static void installSingletons(HttpClient& http, Settings& settings, Logger& log,
                                  UserAlerts& alerts);

    AlertBoxes alerts_;
    QtHttpClient http_;
    DriverCaptureDevices devices_;
    std::unique_ptr<AudioSystem> sound_;
    RouterPortMapper router_;
    DriverSetting driver_;
    JpegCameraPictures pictures_;
    IPCamListController cameraList_;
    ListedCameras cameras_;
    std::unique_ptr<AutoUpdater> updates_;
};

} // namespace ovelo
