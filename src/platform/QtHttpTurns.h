#pragma once

#include "platform/HttpRequest.h"

#include <QTimer>

#include <chrono>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <string>

namespace ovelo {

class QtHttpExchange;

/// Lets requests to one server take turns: six at a time, the others wait in line.
///
/// Qt would have them wait, too, but needs twenty times the memory for it.
///
/// thread    main
/// lifetime  shared, because a request that ends gives its place back, if there still is a line
class QtHttpTurns final : public std::enable_shared_from_this<QtHttpTurns> {
public:
    using Send = std::function<void(QtHttpExchange& exchange, const HttpRequest& request)>;

    /// send  called for each request when it is its turn
    explicit QtHttpTurns(Send send);

    /// Sends the request, now or later. One that waits fails when the server has answered nobody for
    /// as long as the request's time-out; it leaves when it is over.
    ///
    /// return  false when too many wait already
    bool enter(const std::string& server, const std::shared_ptr<QtHttpExchange>& exchange,
               const HttpRequest& request);

private:
    using Clock = std::chrono::steady_clock;

    struct Waiting {
        std::weak_ptr<QtHttpExchange> exchange;
        HttpRequest request;
        Clock::time_point since;
    };
    struct Server {
        int running = 0;
        Clock::time_point lastAnswer;
        std::deque<Waiting> waiting; // the first comes next
    };
    using Exchanges = std::deque<std::shared_ptr<QtHttpExchange>>;

    void begin(const std::string& name, QtHttpExchange& exchange, const HttpRequest& request);
    void leave(const std::string& name, bool wasAnswered);
    void beginNext();
    void expire();
    static Exchanges takeExpired(Server& server, Clock::time_point now);
    static Clock::time_point limitOf(const Waiting& waiting, const Server& server);
    void lookAgainAt(Clock::time_point limit);

    const Send send_;
    std::map<std::string, Server> servers_; // those with requests
    QTimer limit_;                          // runs while a request waits that may expire
    QTimer next_;                           // runs when a place has become free
};

} // namespace ovelo
