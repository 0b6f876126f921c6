#pragma once

#include "platform/HttpClient.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <list>
#include <memory>
#include <string>
#include <string_view>

namespace ovelo {

/// The requests that somebody has made of a web service, of which the latest few are tracked.
///
/// One more drops the oldest from tracking, finished or not. It is not cancelled: it goes on to its
/// end, and what it still tells is told as that of an untracked one.
///
/// thread    main
/// lifetime  its end cancels what still runs; it may not be destroyed from within a listener's call
class ServiceRequests {
public:
    /// What requests tell. Empty functions are not called.
    struct Listener {
        std::function<void(int status, bool isTracked)> didReceiveResponse = {};
        /// text  a piece of the reply as it came, decoded: "(null)" when it is not UTF-8
        std::function<void(std::string_view text, bool isTracked)> didReceiveData = {};
        std::function<void(const std::string& localizedDescription, bool isTracked)>
            didFailWithError = {};
    };

    /// limit  how many are tracked
    ServiceRequests(std::size_t limit, Listener listener);
    ~ServiceRequests();
    ServiceRequests(const ServiceRequests&) = delete;
    ServiceRequests& operator=(const ServiceRequests&) = delete;

    /// Starts a request and tracks it. The oldest is dropped even when this one cannot be started.
    ///
    /// return  whether it could be started
    bool start(HttpClient& client, const HttpRequest& request);

    /// Finished ones included.
    [[nodiscard]] std::size_t trackedCount() const { return tracked_.size(); }

    /// Those that have been dropped and still run.
    [[nodiscard]] std::size_t untrackedCount() const { return untracked_.size(); }

private:
    struct Request {
        std::unique_ptr<HttpConnection> connection; // null once it has ended
        std::size_t received = 0;                   // bytes of the reply's body
        bool isTracked = true;
    };
    using Requests = std::list<Request>; // whose items stay where they are
    using Item = Requests::iterator;

    HttpObserver observerFor(Item request);
    void dropOldest();
    void received(Item request, std::string_view bytes);
    void failed(Item request, const std::string& description);
    void ended(Item request);

    const std::size_t limit_;
    const Listener listener_;
    Requests tracked_;   // the oldest first
    Requests untracked_; // none that has ended
};

} // namespace ovelo
