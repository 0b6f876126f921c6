#include "platform/CurlConnection.h"

#include "platform/MailFailure.h"

#include <fmt/format.h>

#include <utility>

namespace ovelo {

namespace {

constexpr int kTurn = 1000; // milliseconds, after which libcurl looks at its time-outs

/// Never undone: other libraries of the process may use libcurl to the end.
void prepareLibrary() {
    static const CURLcode outcome = curl_global_init(CURL_GLOBAL_DEFAULT);
    if (outcome != CURLE_OK) {
        throw MailException("The mail library could not be started.");
    }
}

long count(std::chrono::milliseconds time) {
    return static_cast<long>(time.count());
}

} // namespace

CurlConnection::CurlConnection(SmtpRoute route, std::string_view scheme, std::stop_token stop)
    : route_(std::move(route))
    , stop_(std::move(stop)) {
    prepareLibrary();
    multi_.reset(curl_multi_init());
    easy_.reset(curl_easy_init());
    if (!multi_ || !easy_) {
        throw MailException("The mail library has no memory left.");
    }
    setUp(scheme);
}

CurlConnection::~CurlConnection() {
    curl_multi_remove_handle(multi_.get(), easy_.get());
}

void CurlConnection::setUp(std::string_view scheme) {
    // The path is what we call ourselves: the address as the server's own programs would give it
    // is valid everywhere, and tells nothing about this computer.
    const std::string url =
        fmt::format("{}://{}:{}/%5B127.0.0.1%5D", scheme, urlHost(route_.host), route_.port);
    set(CURLOPT_ERRORBUFFER, errorText_.data());
    set(CURLOPT_PROTOCOLS_STR, std::string(scheme).c_str());
    set(CURLOPT_URL, url.c_str());
    set(CURLOPT_PROXY, ""); // proxies of the environment are for the web
    set(CURLOPT_NOSIGNAL, 1L);
    set(CURLOPT_QUICK_EXIT, 1L); // do not wait for a name that is being looked up
    set(CURLOPT_CONNECTTIMEOUT_MS, count(route_.options.connectLimit));
    set(CURLOPT_TIMEOUT_MS, count(route_.options.exchangeLimit));
    setUpSecurity();
    setUpCallbacks();
}

void CurlConnection::setUpSecurity() {
    set(CURLOPT_USE_SSL, route_.security == SmtpSecurity::None ? static_cast<long>(CURLUSESSL_NONE)
                                                               : static_cast<long>(CURLUSESSL_ALL));
    set(CURLOPT_SSLVERSION, static_cast<long>(CURL_SSLVERSION_TLSv1_2));
    set(CURLOPT_SSL_VERIFYPEER, 1L);
    set(CURLOPT_SSL_VERIFYHOST, 2L);
    if (!route_.options.trustedCertificates.empty()) {
        set(CURLOPT_CAINFO, route_.options.trustedCertificates.c_str());
    }
}

void CurlConnection::setUpCallbacks() {
    set(CURLOPT_OPENSOCKETFUNCTION, &CurlConnection::openSocket);
    set(CURLOPT_OPENSOCKETDATA, this);
    set(CURLOPT_CLOSESOCKETFUNCTION, &CurlConnection::closeSocket);
    set(CURLOPT_CLOSESOCKETDATA, this);
    set(CURLOPT_NOPROGRESS, 0L);
    set(CURLOPT_XFERINFOFUNCTION, &CurlConnection::progress);
    set(CURLOPT_XFERINFODATA, this);
    set(CURLOPT_VERBOSE, 1L); // to the function only
    set(CURLOPT_DEBUGFUNCTION, &CurlConnection::overhear);
    set(CURLOPT_DEBUGDATA, this);
}

void CurlConnection::run() {
    runWith([] {});
}

void CurlConnection::runWith(const std::function<void()>& dialogue) {
    const std::stop_callback wake(stop_, [this] {
        sockets_.breakOff();
        curl_multi_wakeup(multi_.get());
    });
    require(transfer());
    dialogue();
}

CURLcode CurlConnection::transfer() {
    CURLMcode code = curl_multi_add_handle(multi_.get(), easy_.get());
    int running = 1;
    while (code == CURLM_OK && running > 0) {
        code = curl_multi_perform(multi_.get(), &running);
        if (code == CURLM_OK && running > 0) {
            code = curl_multi_poll(multi_.get(), nullptr, 0, kTurn, nullptr);
        }
    }
    if (code != CURLM_OK) {
        throw MailException(curl_multi_strerror(code));
    }
    int left = 0;
    const CURLMsg* message = curl_multi_info_read(multi_.get(), &left);
    return message != nullptr ? message->data.result : CURLE_FAILED_INIT;
}

MailException CurlConnection::failure(CURLcode code) const {
    long systemError = 0;
    curl_easy_getinfo(easy_.get(), CURLINFO_OS_ERRNO, &systemError);
    // Whatever a broken socket is called by whoever meets it.
    const CURLcode why = stop_.stop_requested() ? CURLE_ABORTED_BY_CALLBACK : code;
    return MailException(mailfailure::reason({.code = why,
                                              .systemError = static_cast<int>(systemError),
                                              .detail = errorText_.data(),
                                              .reply = lastReply_,
                                              .route = route_}));
}

void CurlConnection::require(CURLcode code) const {
    if (code != CURLE_OK) {
        throw failure(code);
    }
}

/// At the end of a mail, which the server has taken by then, its answer to QUIT may keep us waiting
/// for a short while only.
bool CurlConnection::shallEnd() const {
    return stop_.stop_requested() || (farewell_ && std::chrono::steady_clock::now() - *farewell_ >
                                                       route_.options.farewellLimit);
}

curl_socket_t CurlConnection::openSocket(void* self, curlsocktype, curl_sockaddr* address) {
    return static_cast<CurlConnection*>(self)->sockets_.open(address->family, address->socktype,
                                                             address->protocol);
}

int CurlConnection::closeSocket(void* self, curl_socket_t socket) {
    static_cast<CurlConnection*>(self)->sockets_.close(socket);
    return 0;
}

int CurlConnection::progress(void* self, curl_off_t, curl_off_t, curl_off_t, curl_off_t) {
    return static_cast<CurlConnection*>(self)->shallEnd() ? 1 : 0;
}

/// Keeps of the dialogue only what the server said last, before the farewell: our side of it has the
/// password in it.
int CurlConnection::overhear(CURL*, curl_infotype type, char* text, std::size_t size, void* self) {
    auto& connection = *static_cast<CurlConnection*>(self);
    const std::string_view line(text, size);
    if (type == CURLINFO_HEADER_IN && !connection.farewell_) {
        connection.lastReply_ = line;
    } else if (type == CURLINFO_HEADER_OUT && line.starts_with("QUIT")) {
        connection.farewell_ = std::chrono::steady_clock::now();
    }
    return 0;
}

} // namespace ovelo
