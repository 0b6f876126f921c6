#pragma once

#include "fakes/FakeDocument.h"
#include "fakes/MainLoopThread.h"
#include "fakes/TestLog.h"
#include "platform/Clock.h"
#include "server/AccountPrompt.h"
#include "server/Network.h"

#include <atomic>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace ovelo {

/// Answers the question for the account.
class FakePrompt final : public AccountPrompt {
public:
    bool runModal(Network& network) override {
        ++asked;
        return answer ? answer(network) : false;
    }
    void showAlert(const std::string& message, const std::string& informativeText) override {
        alerts.push_back(message + " / " + informativeText);
    }

    int asked = 0;
    std::function<bool(Network&)> answer;
    std::vector<std::string> alerts;
};

/// Announces nothing, and remembers what was to be announced.
struct FakePublisher {
    struct Service final : ServicePublisher {
        Service(FakePublisher& owner, PublishedService what, Delegate& delegate)
            : owner_(owner)
            , what_(std::move(what))
            , delegate_(delegate) {}
        void publish() override {
            owner_.published.push_back(what_);
            if (owner_.errorCode == 0) {
                delegate_.netServiceWillPublish(what_);
            } else {
                delegate_.netServiceDidNotPublish(what_, owner_.errorCode);
            }
        }
        void stop() override { delegate_.netServiceDidStop(what_); }

    private:
        FakePublisher& owner_;
        PublishedService what_;
        Delegate& delegate_;
    };

    bool available = true;
    int errorCode = 0;
    std::vector<PublishedService> published;
};

/// A viewer server on a port of its own, with everything around it faked, and a main thread that
/// serves it.
class TestServer {
public:
    TestServer() {
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
            }});
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
