#pragma once

#include "fakes/FakeHttp.h"
#include "fakes/TestLog.h"
#include "fakes/UdpPeer.h"
#include "nat/NATBuster.h"
#include "platform/MainThread.h"
#include "platform/MemorySettings.h"
#include "server/Network.h"

#include <algorithm>
#include <atomic>
#include <functional>
#include <memory>
#include <string>
#include <utility>

namespace ovelo {

/// A rendezvous service and a STUN server that answer at once, without a network.
///
/// lifetime  longer than the server's that uses it
class FakeInternet final : private HttpClient {
public:
    FakeInternet() { settings_.setString("serviceUrl", "http://127.0.0.1"); }

    /// What a server is to be given.
    Network::Internet parts() {
        Network::Internet parts;
        parts.natBuster = [this](int wakeFd) {
            return std::make_unique<NATBuster>(NATBuster::Environment{
                *this,
                settings_,
                events_.log(),
                {[](const std::string&, StunAddress4&) { return true; },
                 [this, wakeFd](const StunAddress4&, std::uint16_t) {
                     ++stunRounds;
                     return natType(wakeFd);
                 },
                 [](const StunAddress4&, StunAddress4& mapped, std::uint16_t localPort) {
                     mapped = {localPort, INADDR_LOOPBACK};
                     return true;
                 }},
                [] { return std::vector<std::string>{"stun.example.org"}; },
                [] { return std::vector<std::string>{"192.168.1.5"}; }});
        };
        parts.udpPort = port;
        using namespace std::chrono_literals;
        parts.pauses = {10ms, 5ms, 0ms};
        return parts;
    }

    /// What the match service answers from now on.
    static std::string peer(std::uint16_t port, const std::string& ip = "127.0.0.1") {
        return "OK <Result><Introducer gateway_ip=\"" + ip + "\" mapped_port=\"" +
               std::to_string(port) + "\"/></Result>";
    }
    void answerMatches(const std::string& body) {
        const std::lock_guard lock(lock_);
        match_ = body;
    }

    void withoutService() { settings_.remove("serviceUrl"); }
    [[nodiscard]] std::string log() const { return events_.text(); }

    /// Forms that were sent to a path.
    std::vector<std::string> forms(const std::string& path) const {
        std::vector<std::string> bodies;
        MainThread::performAndWait([&] {
            for (const auto& exchange : http_.exchanges) {
                if (exchange->request.url.ends_with(path)) {
                    bodies.push_back(exchange->request.body);
                }
            }
        });
        return bodies;
    }

    std::uint16_t port = UdpPeer().port(); // free a moment ago
    std::atomic<int> stunRounds = 0;
    std::function<NatType(int wakeFd)> natType = [](int) { return NatTypeOpen; };

private:
    std::unique_ptr<HttpConnection> start(const HttpRequest& request,
                                          HttpObserver observer) override {
        auto connection = http_.start(request, std::move(observer));
        if (connection) {
            MainThread::perform([this, number = http_.exchanges.size() - 1] {
                const bool isMatch = http_.exchanges[number]->request.url.ends_with("MatchWS.aspx");
                http_.reply(number, 200, isMatch ? match() : "OK");
            });
        }
        return connection;
    }
    std::string match() const {
        const std::lock_guard lock(lock_);
        return match_;
    }

    MemorySettings settings_;
    TestLog events_;
    FakeHttp http_;
    mutable std::mutex lock_;
    std::string match_ = "OK <Result/>"; // guarded by lock_
};

} // namespace ovelo
