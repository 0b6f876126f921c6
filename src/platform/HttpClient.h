#pragma once

#include "platform/HttpRequest.h"

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace ovelo {

/// The head of a server's reply.
struct HttpResponse {
    int status = 0;
    std::vector<HttpHeader> headers;

    /// The value of a header, in whatever case its name is written; "" without it. Several of one
    /// name are joined with ", ".
    [[nodiscard]] std::string header(std::string_view name) const;
};

/// Sent in UTF-8.
struct HttpCredentials {
    std::string user;
    std::string password;
};

/// What a request tells while it runs. Empty functions are not called; none is called before
/// HttpClient::start has returned, nor after the connection has been destroyed.
///
/// A request ends with one call of didFinishLoading or didFailWithError.
struct HttpObserver {
    /// The head of the reply, once, whatever its status.
    std::function<void(const HttpResponse& response)> didReceiveResponse;

    /// A piece of the body as it comes, cut anywhere: an endless reply (a camera's stream) never
    /// ends calling. Nothing is gathered, and while the main thread is busy the server has to wait.
    std::function<void(std::string_view bytes)> didReceiveData;

    /// No reply, or only a part of one; a reply with an error status is none of these.
    ///
    /// localizedDescription  one line for the user, without a line end
    std::function<void(const std::string& localizedDescription)> didFailWithError;

    std::function<void()> didFinishLoading;

    /// The server wants to know who asks (HTTP Basic or Digest). Without this function its refusal is
    /// a reply like any other; so is that of another server, to which the first one has pointed, for
    /// it is not to learn a password.
    ///
    /// previousFailureCount  how many answers to this request have been rejected
    /// return  nothing cancels: the request fails, and its reply (status 401) is not told
    std::function<std::optional<HttpCredentials>(int previousFailureCount)>
        didReceiveAuthenticationChallenge;
};

/// A request under way. Destroying it, also from within one of its own calls, cancels it; then
/// nothing more is told.
///
/// lifetime  may outlive its client, whose end cancels it
class HttpConnection {
public:
    HttpConnection() = default;
    virtual ~HttpConnection() = default;
    HttpConnection(const HttpConnection&) = delete;
    HttpConnection& operator=(const HttpConnection&) = delete;
};

/// Sends requests to web servers, and tells of the replies on the main loop.
///
/// Certificates of https servers are verified. Cookies are neither kept nor sent. Requests to one
/// server share six connections and wait in line for them, but one that can be asked for credentials
/// has its own, so that it never uses what another one was given. A form (POST) that cannot be asked
/// goes out at most once.
///
/// thread    main
/// lifetime  its end cancels what runs; it may be destroyed from within a request's call
class HttpClient {
public:
    HttpClient() = default;
    virtual ~HttpClient() = default;
    HttpClient(const HttpClient&) = delete;
    HttpClient& operator=(const HttpClient&) = delete;

    /// return  null when it cannot be started: no valid web address, a method or header that cannot
    ///         be sent, or 20 000 requests that wait for this server already
    [[nodiscard]] virtual std::unique_ptr<HttpConnection> start(const HttpRequest& request,
                                                                HttpObserver observer) = 0;
};

} // namespace ovelo
