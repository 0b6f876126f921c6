#include "ui/Services.h"

#include "alerts/EmailUtil.h"
#include "alerts/PushNotifier.h"
#include "ipcam/GrabberClient.h"
#include "platform/CaptureDevices.h"
#include "platform/ChildProcess.h"
#include "platform/Clock.h"
#include "platform/Desktop.h"
#include "platform/EDMailAgent.h"
#include "platform/Folders.h"
#include "platform/PropertyList.h"
#include "platform/Timer.h"
#include "support/AutoUpdateUtil.h"
#include "support/Logger.h"
#include "support/MyUtil.h"

#include <utility>

namespace ovelo {

namespace {

std::unique_ptr<CaptureDevices> realDevices(Settings& settings, Logger& log) {
    return CaptureDevices::create(settings, [&log](const std::string& line) { log.write(line); });
}

std::string bundleVersion() {
    const auto properties = readPropertyList(folders::resources() / "Contents" / "Info.plist");
    return MyUtil::getBundleVersion(properties.value_or(PropertyList()));
}

DriverSetting::Environment driverEnvironment(UserAlerts& alerts) {
    return {.alerts = alerts,
            .paths = {.archive = folders::resources() / "IPCam.component.zip"},
            .start = &ChildProcess::start};
}

} // namespace

Services::Services(Settings& settings, Logger& log, bool onScreen)
    : alerts_(onScreen)
    , devices_(realDevices(settings, log))
    , sound_(AudioSystem::create(devices_))
    , driver_(driverEnvironment(alerts_))
    , cameraList_(
          {.settings = settings,
           .log = log,
           .alerts = alerts_,
           .driverSetting = driver_,
           .makeClient = GrabberClient::factory({http_, settings, log, pictures_}, true),
           .makeTestClient = GrabberClient::factory({http_, settings, log, pictures_}, false),
           .timer = &Timer::once})
    , cameras_(cameraList_) {
    driver_.changed().connect(sigc::mem_fun(devices_, &DriverCaptureDevices::refresh));
    installSingletons(http_, settings, log, alerts_);
    updates_ = std::make_unique<AutoUpdater>(AutoUpdater::Environment{
        settings, Clock::system(), alerts_, AutoUpdateUtil::sharedInstance(), bundleVersion()});
}

Services::~Services() {
    updates_.reset();
    AutoUpdateUtil::deleteSharedInstance();
    PushNotifier::deleteSharedInstance();
    EmailUtil::deleteSharedInstance();
}

void Services::installSingletons(HttpClient& http, Settings& settings, Logger& log,
                                 UserAlerts& alerts) {
    PushNotifier::install({http, settings, log});
    EmailUtil::install({settings, log, [](const std::string& host) {
                            return EDMailAgent::mailAgentForRelayHostWithName(host);
                        }});
    AutoUpdateUtil::install({http, log, alerts, &desktop::openUrl});
}

} // namespace ovelo
