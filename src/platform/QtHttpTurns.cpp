#include "platform/QtHttpTurns.h"

#include "platform/QtHttpExchange.h"

#include <algorithm>
#include <iterator>
#include <utility>

namespace ovelo {

namespace {

/// As many connections as Qt makes to one server.
constexpr int kPlaces = 6;

/// Enough for a message to each of very many phones; about a kilobyte each.
constexpr std::size_t kMaxWaiting = 20'000;

} // namespace

QtHttpTurns::QtHttpTurns(Send send) : send_(std::move(send)) {
    limit_.setSingleShot(true);
    QObject::connect(&limit_, &QTimer::timeout, &limit_, [this] { expire(); });
    next_.setSingleShot(true);
    QObject::connect(&next_, &QTimer::timeout, &next_, [this] { beginNext(); });
}

bool QtHttpTurns::enter(const std::string& server, const std::shared_ptr<QtHttpExchange>& exchange,
                        const HttpRequest& request) {
    Server& its = servers_[server];
    if (its.running < kPlaces && its.waiting.empty()) {
        begin(server, *exchange, request);
        return true;
    }
    if (its.waiting.size() == kMaxWaiting) {
        return false;
    }
    its.waiting.push_back({exchange, request, Clock::now()});
    lookAgainAt(limitOf(its.waiting.back(), its));
    return true;
}

void QtHttpTurns::begin(const std::string& name, QtHttpExchange& exchange,
                        const HttpRequest& request) {
    ++servers_[name].running;
    exchange.onRelease([line = weak_from_this(), name](bool wasAnswered) {
        if (const auto turns = line.lock()) {
            turns->leave(name, wasAnswered);
        }
    });
    send_(exchange, request);
}

void QtHttpTurns::leave(const std::string& name, bool wasAnswered) {
    Server& server = servers_[name];
    --server.running;
    if (wasAnswered) {
        server.lastAnswer = Clock::now();
    }
    // Not at once: when many are cancelled together, none of them shall still have its turn.
    next_.start();
}

void QtHttpTurns::beginNext() {
    for (auto& [name, server] : servers_) {
        while (server.running < kPlaces && !server.waiting.empty()) {
            const Waiting next = std::move(server.waiting.front());
            server.waiting.pop_front();
            const auto exchange = next.exchange.lock();
            if (exchange && !exchange->isOver()) {
                begin(name, *exchange, next.request);
            }
        }
    }
    std::erase_if(servers_, [](const auto& server) { return server.second.running == 0; });
}

/// Those who are told of it may end the client, and with it the line.
void QtHttpTurns::expire() {
    const auto self = shared_from_this();
    const auto now = Clock::now();
    Exchanges expired;
    auto next = Clock::time_point::max();
    for (auto& [name, server] : servers_) {
        std::ranges::move(takeExpired(server, now), std::back_inserter(expired));
        for (const Waiting& waiting : server.waiting) {
            next = std::min(next, limitOf(waiting, server));
        }
    }
    lookAgainAt(next);
    for (const auto& exchange : expired) {
        exchange->timeOut();
    }
}

/// Removes those that are over as well.
QtHttpTurns::Exchanges QtHttpTurns::takeExpired(Server& server, Clock::time_point now) {
    Exchanges expired;
    std::erase_if(server.waiting, [&](const Waiting& waiting) {
        const auto exchange = waiting.exchange.lock();
        if (!exchange || exchange->isOver()) {
            return true;
        }
        const bool isExpired = limitOf(waiting, server) <= now;
        if (isExpired) {
            expired.push_back(exchange);
        }
        return isExpired;
    });
    return expired;
}

QtHttpTurns::Clock::time_point QtHttpTurns::limitOf(const Waiting& waiting, const Server& server) {
    return waiting.request.timeout.count() > 0
               ? std::max(waiting.since, server.lastAnswer) + waiting.request.timeout
               : Clock::time_point::max();
}

void QtHttpTurns::lookAgainAt(Clock::time_point limit) {
    if (limit == Clock::time_point::max()) {
        return;
    }
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(limit - Clock::now());
    const auto wait = std::max(left, std::chrono::milliseconds(1));
    if (!limit_.isActive() || limit_.remainingTimeAsDuration() > wait) {
        limit_.start(wait);
    }
}

} // namespace ovelo
