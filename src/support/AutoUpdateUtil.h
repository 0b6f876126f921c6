#pragma once

#include "support/ServiceRequests.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>

namespace ovelo {

class HttpClient;
class Logger;
class UserAlerts;

/// Asks the maker's web site for the newest version, and offers it when it is newer than ours.
///
/// Each piece of the reply is taken for a whole manifest; a reply of more than 64 KiB is given up.
///
/// thread  main, but for sharedInstance()
class AutoUpdateUtil final {
public:
    /// What it works with; all of it outlives the object.
    struct Environment {
        HttpClient& http;
        Logger& log;
        UserAlerts& alerts;
        /// Opens a web address in the user's browser; false when that is not possible, or when it is
        /// no address of the web.
        std::function<bool(const std::string& url)> openUrl;
    };

    /// Sets what the single instance is made of, before its first use.
    static void install(Environment environment);

    /// The single instance, made at its first use. thread: any
    static AutoUpdateUtil& sharedInstance();

    /// Ends it, and a check that runs; the next use makes another one.
    static void deleteSharedInstance();

    explicit AutoUpdateUtil(Environment environment);
    ~AutoUpdateUtil() = default;
    AutoUpdateUtil(const AutoUpdateUtil&) = delete;
    AutoUpdateUtil& operator=(const AutoUpdateUtil&) = delete;

    /// Starts a check; none while another one waits for its reply.
    ///
    /// currentVersion  the running version, dotted numbers
    /// autoUpdateUrl   the manifest's. When the request cannot be started, as with an empty address,
    ///                 the log says so and no other check is started any more
    /// showError       tells the user about failures, and when there is no update
    void checkForUpdate(const std::string& currentVersion, const std::string& autoUpdateUrl,
                        bool showError);

    /// -1 when v1 is the older one, 1 when it is the newer one, else 0; a missing number is 0.
    static int compareVersion(std::string_view v1, std::string_view v2);

    [[nodiscard]] const std::string& currentVersion() const { return currentVersion_; }
    void setCurrentVersion(const std::string& version) { currentVersion_ = version; }
    [[nodiscard]] bool showError() const { return showError_; }
    void setShowError(bool shows) { showError_ = shows; }
    [[nodiscard]] bool inProgress() const { return inProgress_; }

    /// The HTTP status of the latest response; 0 before the first.
    [[nodiscard]] std::int32_t ret_code() const { return ret_code_; }

private:
    void didReceiveResponse(int status, bool isOurs);
    void didReceiveData(std::string_view text, bool isOurs);
    void didFailWithError(const std::string& localizedDescription, bool isOurs);
    void offer(const std::string& newest, const std::string& link);
    void download(const std::string& link);

    ServiceRequests urlConnections_;
    std::int32_t ret_code_ = 0;
    bool inProgress_ = false;
    bool showError_ = false;
    std::string currentVersion_;

    const Environment environment_;
    std::shared_ptr<bool> alive_ = std::make_shared<bool>(true); // for answers that come late
};

} // namespace ovelo
