#pragma once

#include "fakes/FakeDocument.h"
#include "fakes/FakeServerParts.h"
#include "fakes/MainLoopThread.h"
#include "fakes/TestLog.h"
#include "platform/Clock.h"
#include "server/Network.h"

#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace ovelo {

/// A viewer server on a port of its own, with everything around it faked, and a main thread that
/// serves it.
class TestServer {
public:
    /// internet  as a rule nothing, so that no thread asks anybody
    explicit TestServer(Network::Internet internet = {}) {
        settings.setString("email", "me@example.org");
        settings.setString("port", "0");
        network = std::make_unique<Network>(Network::Environment{
            settings, events.log(), Clock::system(), prompt,
            [this](const PublishedService& service,
                   ServicePublisher::Delegate& delegate) -> std::unique_ptr<ServicePublisher> {
                if (!publisher.available) {
                    return nullptr;
                }
                return std::make_unique<FakePublisher::Service>(publisher, service, delegate);
            },
            std::move(internet)});
    }
    ~TestServer() {
        onMain([this] { network.reset(); });
    }
    TestServer(const TestServer&) = delete;
    TestServer& operator=(const TestServer&) = delete;

    void start() {
        onMain([this] { network->startServer(document); });
    }
    void stop() {
        onMain([this] { network->stopServer(); });
    }
    std::uint16_t port() const { return network->port(); }
    static void onMain(const std::function<void()>& task) { MainThread::performAndWait(task); }

    std::string networkStatus() {
        std::string text;
        onMain([&] { text = network->networkStatus(); });
        return text;
    }

    TestLog events;
    MemorySettings settings;
    FakeDocument document;
    FakePrompt prompt;
    FakePublisher publisher;
    MainLoopThread mainLoop;
    std::unique_ptr<Network> network;
};

} // namespace ovelo
