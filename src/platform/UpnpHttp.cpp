#include "platform/UpnpHttp.h"

#include "platform/CHandle.h"

#include <curl/curl.h>

#include <algorithm>

namespace ovelo::upnp {

namespace {

using Easy = CHandle<CURL, &curl_easy_cleanup>;
using Multi = CHandle<CURLM, &curl_multi_cleanup>;
using HeaderList = CHandle<curl_slist, &curl_slist_free_all>;

constexpr std::size_t kMostBody = 262'144;
constexpr std::size_t kMostHead = 65'536;

struct Received {
    std::string body;
    std::size_t head = 0; // bytes
};

std::size_t takeBody(char* bytes, std::size_t size, std::size_t count, void* received) {
    auto& body = static_cast<Received*>(received)->body;
    const std::size_t length = size * count;
    if (length > kMostBody - body.size()) {
        return 0; // ends the transfer
    }
    body.append(bytes, length);
    return length;
}

std::size_t takeHead(char*, std::size_t size, std::size_t count, void* received) {
    auto& head = static_cast<Received*>(received)->head;
    head += size * count;
    return head > kMostHead ? 0 : size * count;
}

HeaderList headerList(const std::vector<std::string>& headers) {
    HeaderList list;
    for (const std::string& header : headers) {
        curl_slist* longer = curl_slist_append(list.get(), header.c_str());
        if (longer != nullptr) {
            (void)list.release(); // now a part of the longer one
            list.reset(longer);
        }
    }
    return list;
}

void setUp(CURL* easy, const std::string& url, const std::optional<std::string>& body,
           const curl_slist* headers, Received& received) {
    curl_easy_setopt(easy, CURLOPT_URL, url.c_str());
    curl_easy_setopt(easy, CURLOPT_PROTOCOLS_STR, "http");
    curl_easy_setopt(easy, CURLOPT_PROXY, "");
    curl_easy_setopt(easy, CURLOPT_NOSIGNAL, 1L);
    curl_easy_setopt(easy, CURLOPT_FORBID_REUSE, 1L);
    curl_easy_setopt(easy, CURLOPT_HTTP_VERSION, static_cast<long>(CURL_HTTP_VERSION_1_1));
    curl_easy_setopt(easy, CURLOPT_HTTPHEADER, headers);
    curl_easy_setopt(easy, CURLOPT_WRITEFUNCTION, &takeBody);
    curl_easy_setopt(easy, CURLOPT_WRITEDATA, &received);
    curl_easy_setopt(easy, CURLOPT_HEADERFUNCTION, &takeHead);
    curl_easy_setopt(easy, CURLOPT_HEADERDATA, &received);
    if (body) {
        curl_easy_setopt(easy, CURLOPT_POSTFIELDSIZE, static_cast<long>(body->size()));
        curl_easy_setopt(easy, CURLOPT_POSTFIELDS, body->c_str());
    }
}

/// return  whether the transfer ended well within the limit
bool run(CURLM* multi, const RouterLimit& limit) {
    constexpr std::chrono::milliseconds kMostWait(1000); // the library has limits of its own
    int running = 1;
    while (curl_multi_perform(multi, &running) == CURLM_OK && running > 0) {
        curl_waitfd wake{limit.wakeFd, CURL_WAIT_POLLIN, 0};
        const auto wait = std::min(limit.left(), kMostWait);
        const CURLMcode polled = curl_multi_poll(multi, &wake, limit.wakeFd >= 0 ? 1 : 0,
                                                 static_cast<int>(wait.count()), nullptr);
        if (polled != CURLM_OK || wake.revents != 0 || limit.left().count() == 0) {
            return false;
        }
    }
    int left = 0;
    const CURLMsg* message = curl_multi_info_read(multi, &left);
    return message != nullptr && message->msg == CURLMSG_DONE && message->data.result == CURLE_OK;
}

} // namespace

std::optional<HttpReply> exchange(const std::string& url, const std::optional<std::string>& body,
                                  const std::vector<std::string>& headers,
                                  const RouterLimit& limit) {
    const HeaderList list = headerList(headers);
    const Easy easy(curl_easy_init());
    const Multi multi(curl_multi_init());
    Received received;
    if (!easy || !multi) {
        return std::nullopt;
    }
    setUp(easy.get(), url, body, list.get(), received);
    if (curl_multi_add_handle(multi.get(), easy.get()) != CURLM_OK) {
        return std::nullopt;
    }
    const bool isComplete = run(multi.get(), limit);
    long status = 0;
    const char* address = nullptr;
    curl_easy_getinfo(easy.get(), CURLINFO_RESPONSE_CODE, &status);
    curl_easy_getinfo(easy.get(), CURLINFO_LOCAL_IP, &address);
    HttpReply reply{static_cast<int>(status), std::move(received.body),
                    address == nullptr ? "" : address};
    curl_multi_remove_handle(multi.get(), easy.get());
    return isComplete ? std::optional(std::move(reply)) : std::nullopt;
}

} // namespace ovelo::upnp
