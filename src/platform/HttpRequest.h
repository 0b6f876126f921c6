#pragma once

#include <chrono>
#include <string>
#include <vector>

namespace ovelo {

struct HttpHeader {
    std::string name;
    std::string value;
};

/// What is asked of a web server; HttpClient sends it.
struct HttpRequest {
    std::string method = "GET";
    std::string url;                 // http or https
    std::vector<HttpHeader> headers; // in this order
    std::string body;                // any bytes

    /// How long nothing may come or go before the request fails; until the end of the reply's head,
    /// the limit of the whole. While it waits for one of the shared connections: how long the server
    /// may answer nobody. 0: no limit.
    std::chrono::milliseconds timeout = std::chrono::seconds(60);

    /// Asks every cache on the way for a fresh copy. There is none on this computer.
    bool reloadIgnoringCache = false;

    /// Goes where the server points to, at most 10 times and never from https to http; else such a
    /// reply is one like any other.
    bool followRedirects = false;
};

} // namespace ovelo
