#include "ipcam/IPCamItemController.h"

#include "platform/Timer.h"
#include "support/UserAlerts.h"

#include <fmt/format.h>

#include <utility>

namespace ovelo {

namespace {

using namespace std::chrono_literals;

constexpr auto kTestTime = 4000ms;

struct Outcome {
    const char* message;
    const char* informativeText;
};

Outcome outcomeOf(std::int32_t reqReturnCode) {
    switch (reqReturnCode) {
    case CameraClient::Received:
        return {"Test completed successfully.", "Your IP cam is working correctly."};
    case CameraClient::TimedOut: // Kept: no client ever says so
        return {"Test failed.", "Request timed out."};
    case CameraClient::Rejected:
        return {"Test failed.", "Authentication failed."};
    case CameraClient::NoCredentials:
        return {"Test failed.",
                "Authentication requested, but no user ID or password is supplied."};
    case CameraClient::Failed:
        return {"Test failed.", "Request failed."};
    default:
        return {"Test failed.", ""};
    }
}

} // namespace

IPCamItemController::IPCamItemController(Environment environment)
    : environment_(std::move(environment)) {
}

IPCamItemController::~IPCamItemController() {
    stopClient();
}

void IPCamItemController::loadCam(const ListedCameraPointer& cam) {
    endTest();
    cam_ = cam ? cam->record() : CameraRecord{};
    origCam_ = cam;
    camChanged_.emit();
    orderFront_.emit();
}

void IPCamItemController::okAction() {
    if (const auto separator = cameralist::separatorIn(cam_)) {
        environment_.alerts.tell(
            "Unable to store the camera.",
            fmt::format("None of its values may contain \"{}\", which separates the values of "
                        "the stored list.",
                        *separator),
            {});
        return;
    }
    endTest();
    environment_.update(cam_, std::exchange(origCam_, nullptr));
    orderOut_.emit();
}

void IPCamItemController::cancelAction() {
    endTest();
    orderOut_.emit();
}

void IPCamItemController::testAction() {
    if (timer_) {
        return;
    }
    if (cam_.name.empty() || cam_.urlString.empty()) {
        environment_.alerts.tell("Unable to run test.", "Please enter a valid name and URL.", {});
        return;
    }
    hadBeenStarted_ = client_ && client_->started();
    if (!hadBeenStarted_) {
        client_ = environment_.makeClient(cam_); // with what the fields say now
    }
    client_->start();
    timer_ = environment_.timer(kTestTime, [this] { checkCamStatus(); });
    testingChanged_.emit();
}

void IPCamItemController::checkCamStatus() {
    timer_.reset();
    testingChanged_.emit();
    if (!client_) {
        return;
    }
    const Outcome outcome = outcomeOf(client_->reqReturnCode());
    const auto closed = [client = std::weak_ptr(client_), hadBeenStarted = hadBeenStarted_] {
        const auto tested = client.lock();
        if (tested && !hadBeenStarted) {
            tested->stop();
        }
    };
    environment_.alerts.tell(outcome.message, outcome.informativeText, closed);
}

void IPCamItemController::endTest() {
    stopClient();
    if (timer_) {
        timer_.reset();
        testingChanged_.emit();
    }
}

void IPCamItemController::stopClient() {
    if (client_) {
        client_->stop();
        client_.reset();
    }
}

} // namespace ovelo
