#include "alerts/PushNotifier.h"

#include "platform/Assert.h"
#include "platform/MainThread.h"
#include "support/HttpUtil.h"
#include "support/Logger.h"
#include "support/ServiceAddress.h"

#include <fmt/format.h>

#include <memory>
#include <mutex>
#include <optional>

namespace ovelo {

namespace {

constexpr std::string_view kPath = "/PushNotification/AddPushNotification.aspx";
constexpr std::size_t kTracked = 10;

/// The single instance and what it is made of.
struct Single {
    std::mutex lock; // a leaf
    std::optional<PushNotifier::Environment> environment;
    std::unique_ptr<PushNotifier> instance;
};

Single& single() {
    static Single state;
    return state;
}

} // namespace

void PushNotifier::install(const Environment& environment) {
    Single& state = single();
    const std::lock_guard lock(state.lock);
    state.environment.emplace(environment);
}

PushNotifier& PushNotifier::sharedInstance() {
    Single& state = single();
    const std::lock_guard lock(state.lock);
    if (!state.instance) {
        OVELO_ASSERT(state.environment.has_value(), "the notifier is installed before it is used");
        state.instance = std::make_unique<PushNotifier>(*state.environment);
    }
    return *state.instance;
}

void PushNotifier::deleteSharedInstance() {
    Single& state = single();
    const std::lock_guard lock(state.lock);
    state.instance.reset();
}

PushNotifier::PushNotifier(const Environment& environment)
    : environment_(environment)
    , regConnections_(
          kTracked,
          {
              .didReceiveResponse =
                  [this](int status, bool isTracked) { didReceiveResponse(status, isTracked); },
              .didReceiveData = [this](std::string_view text,
                                       bool isTracked) { didReceiveData(text, isTracked); },
              .didFailWithError =
                  [this](const std::string& description, bool isTracked) {
                      didFailWithError(description, isTracked);
                  },
          }) {
}

void PushNotifier::sendPushNotification(std::string_view devID, std::string_view message,
                                        int badgeNumber) {
    const PushNotificationData data{std::string(devID), std::string(message), badgeNumber};
    MainThread::performAndWait([&] { sendPushNotificationThread(data); });
}

bool PushNotifier::sendPushNotificationThread(const PushNotificationData& data) {
    const HttpRequest request =
        HttpUtil::createFormRequest(serviceAddress(environment_.settings, kPath),
                                    {{"device_id", data.devID},
                                     {"message", data.message},
                                     {"badge_number", std::to_string(data.badgeNum)}});
    if (!regConnections_.start(environment_.http, request)) {
        environment_.log.write("sendPushNotification: Failed to submit request.\n");
        return false;
    }
    environment_.log.write(
        fmt::format("Push Notification Request submitted, device_id {}\n", data.devID));
    return true;
}

void PushNotifier::didReceiveResponse(int status, bool isTracked) {
    ret_code_ = status;
    if (isTracked) {
        environment_.log.write(
            fmt::format("Push Notification registration HTTP return code: {}\n", status));
    }
}

void PushNotifier::didReceiveData(std::string_view text, bool isTracked) {
    if (isTracked) {
        environment_.log.write(
            fmt::format("Push Notificationregistration HTTP return: <{}>\n", text)); // sic
    }
}

void PushNotifier::didFailWithError(const std::string& localizedDescription, bool isTracked) {
    if (isTracked) {
        environment_.log.write(
            fmt::format("Push Notification registration failed: {}\n", localizedDescription));
    }
}

} // namespace ovelo
