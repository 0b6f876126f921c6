#pragma once

#include "platform/Clock.h"
#include "platform/Data.h"
#include "platform/Mutex.h"
#include "platform/ServicePublisher.h"
#include "server/SessionHost.h"
#include "server/SessionThreads.h"

#include <sigc++/sigc++.h>

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <thread>
#include <vector>

namespace ovelo {

class AccountPrompt;
class Logger;
class NetworkInstance;
class Settings;
class Socket;
class ViewerDocument;

/// The viewer server: listens, announces itself, keeps the registry of sessions and hands pictures,
/// sound and text to all of them.
///
/// thread  main, unless said otherwise
class Network final : public SessionHost, private ServicePublisher::Delegate {
public:
    using PublisherFactory = std::function<std::unique_ptr<ServicePublisher>(
        const PublishedService&, ServicePublisher::Delegate&)>;

    struct Environment {
        Settings& settings;
        Logger& log;
        const Clock& clock;
        AccountPrompt& prompt;
        PublisherFactory publisher;
    };

    explicit Network(Environment environment);
    ~Network() override;
    Network(const Network&) = delete;
    Network& operator=(const Network&) = delete;

    /// Asks for the account when there is none, then listens, announces the service and accepts
    /// viewers.
    void startServer(ViewerDocument& document);

    /// Ends the server: nobody is accepted any more, every session is ended and its threads are
    /// joined. Serves the main thread's calls meanwhile. Harmless when not started.
    void stopServer();

    /// The account window's OK button: stores both texts, and tells whether they will do.
    bool setButtonPressed(const std::string& email, const std::string& password);

    // The status texts of the window; a change is announced by propertyChanged() with the key
    // "bonjourStatus", "networkStatus", "ipAddr" or "externalIpPort".
    [[nodiscard]] const std::string& bonjourStatus() const { return bonjourStatus_; }
    [[nodiscard]] const std::string& networkStatus() const { return networkStatus_; }
    [[nodiscard]] const std::string& ipAddr() const { return ipAddr_; }
    [[nodiscard]] const std::string& externalIpPort() const { return externalIpPort_; }
    void setBonjourStatus(const std::string& text);
    void setNetworkStatus(const std::string& text) override;
    void setIPAddr(const std::string& text);
    void setExternalIpPort(const std::string& text);
    sigc::signal<void(const std::string&)>& propertyChanged() { return propertyChanged_; }

    // Fan-out. Any thread; never waits for a viewer.
    void sendImageData(const Data& data);
    void sendAudioData(const Data& data);
    void sendText(const std::string& text);

    /// True when a viewer is authenticated. Any thread.
    [[nodiscard]] bool hasClient() const;

    /// The first session's answer, which paces them all; true without any. Any thread.
    [[nodiscard]] bool shouldSkipFrame();

    /// The port that is listened on; 0 when not listening.
    [[nodiscard]] std::uint16_t port() const { return port_; }

    /// Registered sessions. Any thread.
    [[nodiscard]] std::size_t sessionCount() const;

    /// Takes a session that has ended out of the registry. Any thread.
    void networkInstanceExitSel(NetworkInstance& session) override;

private:
    void tcpServerThread(const std::stop_token& stop);
    void accept(std::unique_ptr<Socket> client);
    bool listen();
    bool announceService();
    void endSessions();
    void netServiceWillPublish(const PublishedService& service) override;
    void netServiceDidNotPublish(const PublishedService& service, int errorCode) override;
    void netServiceDidStop(const PublishedService& service) override;
    void handleError(int errorCode, const PublishedService& service);
    void setStatus(std::string& status, const std::string& text, const char* key,
                   const char* label);

    mutable Mutex registryLock_{LockRank::Registry};
    std::vector<std::shared_ptr<NetworkInstance>> instances_ OVELO_GUARDED_BY(registryLock_);
    std::vector<std::string> services_; // names of the services that are being published
    std::string bonjourStatus_;
    std::string networkStatus_;
    std::string ipAddr_;
    std::string externalIpPort_;
    std::unique_ptr<ServicePublisher> service_;
    std::unique_ptr<Socket> listnerSocket_;     // sic
    ViewerDocument* parentDocoument_ = nullptr; // sic; given, not owned

    Environment environment_;
    std::uint16_t port_ = 0;
    sigc::signal<void(const std::string&)> propertyChanged_;
    SessionThreads sessionThreads_; // joined before anything above dies
    std::jthread tcpServerThread_;
};

} // namespace ovelo
