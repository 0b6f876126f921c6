#pragma once

#include "platform/BreakableSockets.h"
#include "platform/CHandle.h"
#include "platform/SmtpRoute.h"

#include <curl/curl.h>

#include <array>
#include <chrono>
#include <functional>
#include <optional>
#include <stop_token>
#include <string>
#include <string_view>

namespace ovelo {

/// One transfer of libcurl to a mail server, made to end at any moment.
///
/// A stop request wakes the poll that waits for the network and breaks the sockets off, for libcurl
/// waits by itself, in steps of a second, for the server's last word. A name that is being looked up
/// is left to the library's own thread.
///
/// thread  the one that made it
class CurlConnection final {
public:
    /// scheme  of the URL
    CurlConnection(SmtpRoute route, std::string_view scheme, std::stop_token stop);
    ~CurlConnection();
    CurlConnection(const CurlConnection&) = delete;
    CurlConnection& operator=(const CurlConnection&) = delete;

    /// errors  MailException when libcurl does not know the option or its value
    template <typename Value>
    void set(CURLoption option, Value value) {
        require(curl_easy_setopt(easy_.get(), option, value));
    }

    /// Runs the transfer until it is done.
    ///
    /// errors  MailException
    void run();

    /// Runs the transfer, and then, with the connection that it leaves open, `dialogue`, which waits
    /// for nothing but that connection's socket.
    ///
    /// errors  MailException; what `dialogue` throws
    void runWith(const std::function<void()>& dialogue);

    [[nodiscard]] CURL* easy() const { return easy_.get(); }
    [[nodiscard]] const SmtpRoute& route() const { return route_; }

    /// What the user is to be told about a failure.
    [[nodiscard]] MailException failure(CURLcode code) const;

    /// Throws it, unless all is well.
    void require(CURLcode code) const;

private:
    using Steady = std::chrono::steady_clock::time_point;

    void setUp(std::string_view scheme);
    void setUpSecurity();
    void setUpCallbacks();
    CURLcode transfer();
    [[nodiscard]] bool shallEnd() const;

    static curl_socket_t openSocket(void* self, curlsocktype purpose, curl_sockaddr* address);
    static int closeSocket(void* self, curl_socket_t socket);
    static int progress(void* self, curl_off_t, curl_off_t, curl_off_t, curl_off_t);
    static int overhear(CURL* easy, curl_infotype type, char* text, std::size_t size, void* self);

    const SmtpRoute route_;
    const std::stop_token stop_;
    BreakableSockets sockets_;
    std::string lastReply_;
    std::optional<Steady> farewell_; // when QUIT was said
    std::array<char, CURL_ERROR_SIZE> errorText_{};
    CHandle<CURLM, &curl_multi_cleanup> multi_;
    CHandle<CURL, &curl_easy_cleanup> easy_;
};

} // namespace ovelo
