#pragma once

#include "alerts/PushNotificationData.h"
#include "support/ServiceRequests.h"

#include <cstdint>
#include <string>
#include <string_view>

namespace ovelo {

class HttpClient;
class Logger;
class Settings;

/// Asks the push web service to show messages on phones.
///
/// Requests are submitted and what the service answers is logged; nothing is retried or judged. The
/// latest ten requests are tracked: the eleventh drops the first, which goes on, but is not heard of
/// any more in the log.
///
/// For thousands of phones at once: all requests go to one server, six at a time, and those that wait
/// for their turn cost about a kilobyte each. They fail when the service answers nobody for 60 s, and
/// cannot be submitted any more when 20 000 wait (see HttpClient).
class PushNotifier final {
public:
    /// What a notifier works with; all of it outlives the notifier.
    struct Environment {
        HttpClient& http;
        const Settings& settings; // "serviceUrl"
        Logger& log;
    };

    /// Sets what the single instance is made of, before its first use.
    static void install(const Environment& environment);

    /// The single instance, made at its first use. thread: any
    static PushNotifier& sharedInstance();

    /// Ends it, and its requests; the next use makes another one.
    ///
    /// thread  main, when no other thread uses the instance any more
    static void deleteSharedInstance();

    explicit PushNotifier(const Environment& environment);
    ~PushNotifier() = default;
    PushNotifier(const PushNotifier&) = delete;
    PushNotifier& operator=(const PushNotifier&) = delete;

    /// Submits a message, on the main thread, and waits until that is done; not for the answer.
    ///
    /// devID   goes out as it stands (see HttpUtil), as does the message
    /// thread  any that holds no lock and for which the main thread does not wait. Nothing is sent
    ///         when the main loop has ended.
    void sendPushNotification(std::string_view devID, std::string_view message, int badgeNumber);

    /// Builds and starts the request.
    ///
    /// return  whether it was started; not without the setting "serviceUrl"
    /// thread  main
    bool sendPushNotificationThread(const PushNotificationData& data);

    /// The HTTP status of the latest response, tracked or not; 0 before the first. thread: main
    [[nodiscard]] std::int32_t ret_code() const { return ret_code_; }

    /// thread: main
    [[nodiscard]] const ServiceRequests& regConnections() const { return regConnections_; }

private:
    void didReceiveResponse(int status, bool isTracked);
    void didReceiveData(std::string_view text, bool isTracked);
    void didFailWithError(const std::string& localizedDescription, bool isTracked);

    const Environment environment_;
    ServiceRequests regConnections_;
    std::int32_t ret_code_ = 0;
};

} // namespace ovelo
