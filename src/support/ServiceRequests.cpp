#include "support/ServiceRequests.h"

#include "platform/Utf8.h"

#include <iterator>
#include <utility>

namespace ovelo {

namespace {

/// Replies go to the event log. An endless one must not fill the disk.
constexpr std::size_t kMaxReply = 65'536;

} // namespace

ServiceRequests::ServiceRequests(std::size_t limit, Listener listener)
    : limit_(limit)
    , listener_(std::move(listener)) {
}

ServiceRequests::~ServiceRequests() = default;

bool ServiceRequests::start(HttpClient& client, const HttpRequest& request) {
    if (tracked_.size() == limit_) {
        dropOldest();
    }
    tracked_.emplace_back();
    const auto item = std::prev(tracked_.end());
    item->connection = client.start(request, observerFor(item));
    if (!item->connection) {
        tracked_.erase(item);
        return false;
    }
    return true;
}

HttpObserver ServiceRequests::observerFor(Item request) {
    HttpObserver observer;
    observer.didReceiveResponse = [this, request](const HttpResponse& response) {
        if (listener_.didReceiveResponse) {
            listener_.didReceiveResponse(response.status, request->isTracked);
        }
    };
    observer.didReceiveData = [this, request](std::string_view bytes) { received(request, bytes); };
    observer.didFailWithError = [this, request](const std::string& description) {
        failed(request, description);
    };
    observer.didFinishLoading = [this, request] { ended(request); };
    return observer;
}

void ServiceRequests::dropOldest() {
    const auto oldest = tracked_.begin();
    if (!oldest->connection) {
        tracked_.erase(oldest);
        return;
    }
    oldest->isTracked = false;
    untracked_.splice(untracked_.end(), tracked_, oldest);
}

void ServiceRequests::received(Item request, std::string_view bytes) {
    request->received += bytes.size();
    if (request->received > kMaxReply) {
        failed(request, "The reply is too long.");
        return;
    }
    if (listener_.didReceiveData) {
        listener_.didReceiveData(isUtf8(bytes) ? bytes : "(null)", request->isTracked);
    }
}

void ServiceRequests::failed(Item request, const std::string& description) {
    if (listener_.didFailWithError) {
        listener_.didFailWithError(description, request->isTracked);
    }
    ended(request);
}

/// Gives up the connection, from within a call of its own; nothing is told after that.
void ServiceRequests::ended(Item request) {
    request->connection.reset();
    if (!request->isTracked) {
        untracked_.erase(request);
    }
}

} // namespace ovelo
